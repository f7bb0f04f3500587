import java.lang.instrument.ClassFileTransformer;
import java.lang.instrument.Instrumentation;
import java.security.ProtectionDomain;
import org.objectweb.asm.ClassReader;
import org.objectweb.asm.ClassWriter;

/** Another agent that weaves with the same library, under its own names, and in the same classes. */
public final class OtherAgent implements ClassFileTransformer {
  public static void premain(String arguments, Instrumentation instrumentation) {
    instrumentation.addTransformer(new OtherAgent(), true);
  }

  @Override
  public byte[] transform(
      ClassLoader loader, String name, Class<?> before, ProtectionDomain domain, byte[] classFile) {
    if (name == null || !name.startsWith("org/apache/catalina/"))
      return null;
    ClassReader reader = new ClassReader(classFile);
    ClassWriter writer = new ClassWriter(reader, ClassWriter.COMPUTE_MAXS);
    reader.accept(writer, 0);
    return writer.toByteArray();
  }
}
