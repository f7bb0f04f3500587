package zov.collector;

import java.util.concurrent.TimeUnit;

/**
 * The entry that the JVM calls before the application's own main method.
 *
 * It starts one daemon thread and returns at once. Nothing is thrown and nothing is printed, whatever
 * the arguments: a collector that cannot work leaves a line in its own log and the host as it was.
 */
public final class Agent {
  private Agent() {}

  public static void premain(String arguments) {
    try {
      start(arguments == null ? "" : arguments);
    } catch (Throwable failure) {
      // The host comes first: it runs as if the collector had not been asked for.
    }
  }

  private static void start(String arguments) {
    CollectorLog log = CollectorLog.to(Options.logPath(arguments));
    Options options;
    try {
      options = Options.parse(arguments);
    } catch (IllegalArgumentException wrong) {
      log.line("The collector does not start: " + wrong.getMessage());
      return;
    }
    Thread thread =
        new Thread(null, new Collector(options, log, TimeUnit.SECONDS::sleep), "zov-collector", 0, false);
    thread.setDaemon(true);
    thread.setUncaughtExceptionHandler((ended, failure) -> {}); // the default one prints
    thread.start();
  }
}
