import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Set;
import java.util.TreeSet;
import java.util.jar.JarEntry;
import java.util.jar.JarInputStream;
import java.util.jar.JarOutputStream;
import org.objectweb.asm.ClassReader;
import org.objectweb.asm.ClassWriter;
import org.objectweb.asm.commons.ClassRemapper;
import org.objectweb.asm.commons.Remapper;

/**
 * Relocate INPUT_JAR OUTPUT_JAR: the classes of the input, with those of the library that they reach, which
 * get names of our own, so that a host that has the library, too, never meets this copy. The library is on
 * the class path of this tool itself.
 */
final class Relocate {
  private static final String FROM = "org/objectweb/asm/";
  private static final String TO = "zov/weaver/asm/";

  private final Set<String> seen = new TreeSet<>();
  private final Deque<String> reached = new ArrayDeque<>();
  private final Remapper names = new Remapper() {
    @Override
    public String map(String name) {
      if (!name.startsWith(FROM))
        return name;
      if (seen.add(name))
        reached.add(name);
      return TO + name.substring(FROM.length());
    }
  };

  public static void main(String[] arguments) throws IOException {
    new Relocate().run(Path.of(arguments[0]), Path.of(arguments[1]));
  }

  private void run(Path input, Path output) throws IOException {
    try (JarInputStream in = new JarInputStream(Files.newInputStream(input));
         JarOutputStream out = new JarOutputStream(Files.newOutputStream(output))) {
      for (JarEntry entry = in.getNextJarEntry(); entry != null; entry = in.getNextJarEntry()) {
        if (entry.getName().endsWith(".class"))
          write(in.readAllBytes(), out);
      }
      while (!reached.isEmpty()) {
        try (InputStream library = Relocate.class.getResourceAsStream("/" + reached.peek() + ".class")) {
          reached.remove();
          write(library.readAllBytes(), out);
        }
      }
    }
  }

  private void write(byte[] classFile, JarOutputStream out) throws IOException {
    ClassReader reader = new ClassReader(classFile);
    ClassWriter writer = new ClassWriter(0);
    reader.accept(new ClassRemapper(writer, names), ClassReader.SKIP_DEBUG);
    out.putNextEntry(new JarEntry(names.map(reader.getClassName()) + ".class"));
    out.write(writer.toByteArray());
    out.closeEntry();
  }
}
