package zov.weaver;

import java.lang.instrument.ClassFileTransformer;
import java.lang.ref.WeakReference;
import java.security.AccessController;
import java.security.PrivilegedAction;
import java.security.ProtectionDomain;
import java.util.List;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.function.Consumer;
import java.util.function.Predicate;
import org.objectweb.asm.ClassReader;
import org.objectweb.asm.ClassVisitor;
import org.objectweb.asm.ClassWriter;
import org.objectweb.asm.MethodVisitor;
import org.objectweb.asm.Opcodes;

/**
 * Weaves calls of the hooks into the host's classes as the JVM loads or retransforms them. The JVM calls it
 * on all threads that load classes, whose rights may be few; so it takes its own.
 *
 * A class is left as it was when it does not see the hooks, when its file is of a version whose format is not
 * known here, and when weaving fails for whatever reason; a line to the log says so, one for each loader that
 * does not see the hooks and is not asked again. As nothing is added to a class but code, retransforming it
 * without this transformer takes all out again.
 *
 * It has a loader of its own, so that its parts are reached by the JDK's types only: it is a predicate of
 * classes, too, which says of those that are loaded already which may be woven, or have been.
 */
public final class Weaver implements ClassFileTransformer, Predicate<Class<?>> {
  static final String HOOKS = "zov.boot.Hooks";
  static final int API = Opcodes.ASM9;
  /** The level from which on delays are woven. */
  private static final int WITH_DELAYS = 2;
  /** The newest version that the library reads; the format has not changed from there to the next. */
  private static final int NEWEST_READ = Opcodes.V20;
  private static final int NEWEST_OF_SAME_FORMAT = 69;
  private static final int MINOR = 4;
  private static final int MAJOR = 6;
  private static final int PREVIEW = 0xffff;
  private static final int MOST_REMEMBERED = 10_000;

  private final List<Points> points;
  private final Consumer<String> log;
  /** Loaders that do not see the hooks. */
  private final List<WeakReference<ClassLoader>> isolated = new CopyOnWriteArrayList<>();
  /** By name ("java/lang/String"), since what the bytes told at load cannot be told of a loaded class. */
  private final Set<String> wovenClasses = ConcurrentHashMap.newKeySet();

  /** Level 1 weaves entries, 2 delays, too. */
  public Weaver(int level, Consumer<String> log) {
    points = level >= WITH_DELAYS ? List.of(new Entries(), new Delays()) : List.of(new Entries());
    this.log = log;
  }

  @Override
  public boolean test(Class<?> loaded) {
    for (Points some : points) {
      if (some.mayHave(loaded))
        return true;
    }
    return wovenClasses.contains(loaded.getName().replace('.', '/'));
  }

  private boolean mayHave(String className, byte[] classFile) {
    for (Points some : points) {
      if (some.mayHave(className, classFile))
        return true;
    }
    return false;
  }

  @Override
  public byte[] transform(
      ClassLoader loader, String className, Class<?> before, ProtectionDomain domain, byte[] classFile) {
    if (className == null || className.startsWith("zov/"))
      return null;
    return AccessController.doPrivileged(
        (PrivilegedAction<byte[]>) () -> transformed(loader, className, classFile));
  }

  /** The log needs rights, too. */
  private byte[] transformed(ClassLoader loader, String className, byte[] classFile) {
    try {
      return mayHave(className, classFile) && seesHooks(loader, className) ? woven(className, classFile)
                                                                           : null;
    } catch (Throwable failure) {
      log.accept("A class is left as it was: " + className + ": " + failure);
      return null;
    }
  }

  private boolean seesHooks(ClassLoader loader, String className) {
    if (loader == null)
      return true;
    for (WeakReference<ClassLoader> each : isolated) {
      if (each.get() == loader)
        return false;
    }
    try {
      if (Class.forName(HOOKS, false, loader).getClassLoader() == null)
        return true;
    } catch (ClassNotFoundException | LinkageError | RuntimeException unseen) {
      // It is remembered below.
    }
    isolated.removeIf(each -> each.get() == null);
    isolated.add(new WeakReference<>(loader));
    log.accept("Classes are left as they were, such as " + className + ": their loader, a "
        + loader.getClass().getName() + ", does not see the package zov.boot of the boot class path; in OSGi "
        + "the property org.osgi.framework.bootdelegation has the packages to be seen");
    return false;
  }

  /** Null when there is nothing to weave. */
  private byte[] woven(String className, byte[] classFile) {
    int version = unsigned(classFile, MAJOR);
    if (version > NEWEST_OF_SAME_FORMAT || (version > NEWEST_READ && unsigned(classFile, MINOR) == PREVIEW)) {
      throw new IllegalArgumentException(
          "its version " + version + " is newer than is known here (" + NEWEST_OF_SAME_FORMAT + ")");
    }
    byte[] readable = classFile;
    if (version > NEWEST_READ) {
      readable = classFile.clone();
      readable[MAJOR + 1] = NEWEST_READ;
    }
    ClassReader reader = new ClassReader(readable);
    ClassWriter writer = new ClassWriter(reader, ClassWriter.COMPUTE_MAXS);
    WovenClass type = new WovenClass(writer);
    reader.accept(type, ClassReader.EXPAND_FRAMES);
    if (!type.changed)
      return null;
    byte[] result = writer.toByteArray();
    result[MAJOR + 1] = (byte) version;
    if (wovenClasses.size() < MOST_REMEMBERED)
      wovenClasses.add(className);
    return result;
  }

  static int unsigned(byte[] bytes, int at) { return (bytes[at] & 0xff) << 8 | (bytes[at + 1] & 0xff); }

  private final class WovenClass extends ClassVisitor {
    boolean changed;
    private int version;
    private String name;
    private String[] interfaces;

    WovenClass(ClassVisitor to) { super(API, to); }

    @Override
    public void visit(
        int version, int access, String name, String signature, String superName, String[] interfaces) {
      this.version = version;
      this.name = name;
      this.interfaces = interfaces;
      super.visit(version, access, name, signature, superName, interfaces);
    }

    @Override
    public MethodVisitor visitMethod(
        int access, String method, String descriptor, String signature, String[] exceptions) {
      MethodVisitor plain = super.visitMethod(access, method, descriptor, signature, exceptions);
      if ((access & (Opcodes.ACC_ABSTRACT | Opcodes.ACC_NATIVE)) != 0 || method.startsWith("<"))
        return plain;
      for (Points some : points) {
        Advice advice = some.advice(name, interfaces, access, method, descriptor);
        if (advice != null) {
          changed = true;
          return new WovenMethod(advice, plain, version, access, method, descriptor);
        }
      }
      return plain;
    }
  }
}
