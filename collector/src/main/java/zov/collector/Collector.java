package zov.collector;

import java.io.IOException;
import java.util.Locale;
import java.util.Map;
import java.util.function.LongSupplier;

/**
 * Keeps a session with the agent for as long as the JVM runs: connects, serves, and after any end of it
 * tries again, waiting longer each time until a session has done some work. Every failure ends here, in a
 * line of the log. Interrupting the thread ends the collector.
 */
final class Collector implements Runnable {
  /** Waits between two attempts. */
  interface Pause {
    void seconds(int count) throws InterruptedException;
  }

  private final Options options;
  private final CollectorLog log;
  private final Pause pause;
  private final LongSupplier nanoTime = System::nanoTime;
  private final long processId = ProcessHandle.current().pid();
  private final Backoff backoff = new Backoff();

  Collector(Options options, CollectorLog log, Pause pause) {
    this.options = options;
    this.log = log;
    this.pause = pause;
  }

  @Override
  public void run() {
    while (!Thread.currentThread().isInterrupted()) {
      try {
        runSession();
      } catch (Session.RefusedException refused) {
        backoff.toLongest();
        log.line(refused.getMessage());
      } catch (Throwable failure) {
        log.line(
            "No session with the agent at " + options.agentHost + ":" + options.agentPort + ": " + failure);
      }
      try {
        pause.seconds(backoff.nextSeconds());
      } catch (InterruptedException stopped) {
        return;
      }
    }
  }

  private void runSession() throws IOException {
    try (Connection connection = Connection.open(options.agentHost, options.agentPort, nanoTime)) {
      Session session = new Session(connection, processId,
          new PropertySampler(processId, Collector::properties, System::getenv),
          new RequestSampler(processId, HostServer::readServlets, System::currentTimeMillis, nanoTime), log);
      session.greet(options, platform(), Locale.getDefault().toString());
      log.line("Connected with the agent at " + options.agentHost + ":" + options.agentPort + " as "
          + options.serverName);
      while (!Thread.currentThread().isInterrupted()) {
        session.serveOne();
        backoff.reset();
      }
    }
  }

  private static String platform() {
    return "java" + Runtime.version().feature() + " " + System.getProperty("os.name", "");
  }

  /** The JVM's properties, and the server's version under the name by which the agent knows it. */
  private static Map<String, String> properties() {
    Map<String, String> properties = PropertySampler.jvmProperties();
    String version = HostServer.version();
    if (!version.isEmpty())
      properties.putIfAbsent("appserver.platform", version);
    return properties;
  }
}
