package zov.collector;

import java.io.IOException;
import java.io.InputStream;
import java.lang.instrument.ClassFileTransformer;
import java.lang.instrument.Instrumentation;
import java.lang.instrument.UnmodifiableClassException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.Consumer;
import java.util.function.Predicate;
import java.util.function.Supplier;
import java.util.jar.JarFile;
import zov.boot.Hooks;
import zov.boot.Tracer;

/**
 * Puts the tracing of requests into the JVM, and takes it out again, without a restart. The hooks come onto
 * the boot class path with the first start, and stay; the weaver and its library have a loader of their own,
 * and go when tracing stops. Used by the collector's thread only.
 */
final class Tracing {
  private static final String HOOKS = "/zov-boot.jar";
  private static final String WEAVER = "/zov-weaver.jar";
  private static final int MOST_LINES = 20;

  private final Instrumentation instrumentation;
  private final CollectorLog log;
  private ClassFileTransformer weaver;
  private int level;
  private boolean impossible;
  private boolean hooked;

  /** Instrumentation is null where the JVM gives none, or none is wanted: then nothing ever starts. */
  Tracing(Instrumentation instrumentation, CollectorLog log) {
    this.instrumentation = instrumentation;
    this.log = log;
    impossible = instrumentation == null;
  }

  boolean isRunning() { return level > 0; }

  /**
   * Weaves at that level, 1 for entries, 2 for delays, too, and has a tracer told from then on, the same one
   * when the level changes; by no type of the hooks', which are not there before. False, with a line in the
   * log, when that cannot be; it is not tried again then.
   */
  boolean start(int wanted, Supplier<Object> tracer) {
    if (impossible || level == wanted)
      return !impossible;
    try {
      hook();
      ClassFileTransformer before = weaver;
      weaver = weaver(wanted);
      instrumentation.addTransformer(weaver, true);
      if (before != null)
        instrumentation.removeTransformer(before);
      else
        Hooks.tracer = (Tracer) tracer.get();
      retransform(before, weaver);
      level = wanted;
      return true;
    } catch (Throwable failure) {
      impossible = true;
      log.line("Requests cannot be traced in this JVM: " + failure);
      stop();
      return false;
    }
  }

  /** All that was woven is taken out. */
  void stop() {
    if (hooked)
      Hooks.tracer = null;
    level = 0;
    ClassFileTransformer last = weaver;
    weaver = null;
    if (last == null)
      return;
    try {
      instrumentation.removeTransformer(last);
      retransform(last, null);
    } catch (RuntimeException | LinkageError failure) {
      log.line("Classes keep calls of the collector's, which do nothing: " + failure);
    }
  }

  /** The JVM keeps the file open, so that it need not stay. */
  private void hook() throws IOException {
    if (hooked)
      return;
    Path file = Files.createTempFile("zov-boot-", ".jar");
    try (InputStream in = resource(HOOKS)) {
      Files.write(file, in.readAllBytes());
      try (JarFile jar = new JarFile(file.toFile())) {
        instrumentation.appendToBootstrapClassLoaderSearch(jar);
      }
      Hooks.tracer = null; // loads the class
    } finally {
      Files.delete(file);
    }
    hooked = true;
  }

  private ClassFileTransformer weaver(int wanted) throws IOException, ReflectiveOperationException {
    try (InputStream jar = resource(WEAVER)) {
      Class<?> type = new WeaverLoader(jar).loadClass("zov.weaver.Weaver");
      return (ClassFileTransformer) type.getConstructor(int.class, Consumer.class)
          .newInstance(wanted, logger());
    }
  }

  private Consumer<String> logger() {
    AtomicInteger lines = new AtomicInteger();
    return line -> {
      if (lines.getAndIncrement() < MOST_LINES)
        log.line(line);
    };
  }

  private static InputStream resource(String name) throws IOException {
    InputStream in = Tracing.class.getResourceAsStream(name);
    if (in == null)
      throw new IOException("the collector was built without " + name);
    return in;
  }

  /** Has the classes made anew that either of these weavers, which may be null, has to do with. */
  private void retransform(ClassFileTransformer before, ClassFileTransformer after) {
    List<Class<?>> touched = new ArrayList<>();
    for (Class<?> each : instrumentation.getAllLoadedClasses()) {
      if ((mayWeave(before, each) || mayWeave(after, each)) && instrumentation.isModifiableClass(each))
        touched.add(each);
    }
    if (!retransformed(touched.toArray(new Class<?>[ 0 ]))) {
      for (Class<?> each : touched) retransformed(each);
    }
  }

  private boolean retransformed(Class<?>... types) {
    try {
      if (types.length > 0)
        instrumentation.retransformClasses(types);
      return true;
    } catch (UnmodifiableClassException | RuntimeException | LinkageError failure) {
      log.line(types.length + " classes are left as they were: " + types[0].getName() + ": " + failure);
      return false;
    }
  }

  @SuppressWarnings("unchecked")
  private static boolean mayWeave(ClassFileTransformer some, Class<?> type) {
    return some != null && ((Predicate<Class<?>>) some).test(type);
  }
}
