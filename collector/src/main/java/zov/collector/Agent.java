package zov.collector;

import java.lang.instrument.Instrumentation;
import java.security.AllPermission;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicBoolean;

/**
 * The entries that the JVM calls: before the application's own main method, or in a JVM that already runs.
 *
 * It starts one daemon thread and returns at once, with one line on standard error that says where the
 * collector's log is, or why there is no collector. Nothing is thrown, whatever the arguments: the host runs
 * as it would without.
 */
public final class Agent {
  /** The JVM property that names the log of the collector that runs. */
  static final String LOG_PROPERTY = "zov.collector.log";

  private static final AtomicBoolean started = new AtomicBoolean();

  private Agent() {}

  public static void premain(String arguments, Instrumentation instrumentation) {
    startSafely(arguments, instrumentation);
  }

  public static void agentmain(String arguments, Instrumentation instrumentation) {
    startSafely(arguments, instrumentation);
  }

  private static void startSafely(String arguments, Instrumentation instrumentation) {
    try {
      start(arguments == null ? "" : arguments, instrumentation);
    } catch (Throwable failure) {
      tell("does not start: " + failure);
    }
  }

  private static void start(String arguments, Instrumentation instrumentation) {
    if (!isAllowed()) {
      tell("does not start: the JVM's security manager denies it. Its policy must have: grant codeBase "
          + "\"file:PATH/zov-collector.jar\" { permission java.security.AllPermission; };");
      return;
    }
    if (started.get()) {
      tell("runs in this JVM already; its log is " + System.getProperty(LOG_PROPERTY));
      return;
    }
    Options options;
    try {
      options = Options.parse(arguments);
    } catch (IllegalArgumentException wrong) {
      tell("does not start: " + wrong.getMessage());
      return;
    }
    if (!started.compareAndSet(false, true))
      return;
    CollectorLog log = CollectorLog.open(options.logFile);
    System.setProperty(LOG_PROPERTY, log.place());
    tell(log.place().isEmpty() ? "has no log, since no file could be written" : "its log is " + log.place());
    Tracing tracing = new Tracing(options.trace ? instrumentation : null, log);
    run(new Collector(options, log, tracing, TimeUnit.SECONDS::sleep, System::nanoTime));
  }

  private static void run(Collector collector) {
    Thread thread = new Thread(null, collector, "zov-collector", 0, false);
    thread.setDaemon(true);
    thread.setUncaughtExceptionHandler((ended, failure) -> {}); // the default one prints
    thread.start();
  }

  private static boolean isAllowed() {
    SecurityManager manager = System.getSecurityManager();
    if (manager == null)
      return true;
    try {
      manager.checkPermission(new AllPermission());
      return true;
    } catch (SecurityException denied) {
      return false;
    }
  }

  private static void tell(String what) { System.err.println("zov-collector: " + what); }
}
