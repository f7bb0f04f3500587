package zov.collector;

import java.io.IOException;
import java.util.Locale;
import java.util.function.LongSupplier;

/**
 * Keeps a session with the agent for as long as the JVM runs: connects, serves, and after any end of it
 * tries again, waiting longer each time until a session has lived. Every failure ends here, in a line of the
 * log. Interrupting the thread ends the collector.
 */
final class Collector implements Runnable {
  /** A session that lived so long ended for a reason of its own, and the next attempt comes soon. */
  static final long LIVED_NANOS = 10_000_000_000L;
  /** An agent that comes back within this time is told what happened meanwhile. */
  static final long KEPT_NANOS = 120_000_000_000L;

  /** Waits between two attempts. */
  interface Pause {
    void seconds(int count) throws InterruptedException;
  }

  private final Options options;
  private final CollectorLog log;
  private final Pause pause;
  private final LongSupplier nanoTime;
  private final long processId = ProcessHandle.current().pid();
  private final Backoff backoff = new Backoff();
  private final ServerSearch search;
  private final RequestCounting requests;
  private final GcLedger gcLedger;
  private final StatisticsJvm statistics;
  private Budget budget;
  private long lastServed;

  Collector(Options options, CollectorLog log, Tracing tracing, Pause pause, LongSupplier nanoTime) {
    this.options = options;
    this.log = log;
    this.pause = pause;
    this.nanoTime = nanoTime;
    requests = new RequestCounting(tracing, nanoTime);
    statistics = new StatisticsJvm(options, processId, log, nanoTime);
    // No method references: these would load the classes here, which not every JVM can.
    gcLedger = new GcLedger(() -> new GcWatch(), nanoTime);
    search = new ServerSearch(() -> HostServer.isThere(), nanoTime);
    lastServed = nanoTime.getAsLong();
  }

  @Override
  public void run() {
    try {
      budget = new Budget(Budget.ofThisThread());
      while (!Thread.currentThread().isInterrupted()) pause.seconds(attempt());
    } catch (InterruptedException stopped) {
      // The collector ends.
    } finally {
      stopCounting();
      statistics.stop();
    }
  }

  /** One session, or the attempt at one; returns the seconds to wait until the next. */
  private int attempt() {
    statistics.check();
    Connection connection;
    try {
      connection = Connection.open(options.agentHost, options.agentPort, nanoTime);
    } catch (Throwable unreachable) {
      tellEnd(unreachable);
      if (nanoTime.getAsLong() - lastServed > KEPT_NANOS)
        stopCounting();
      return backoff.afterUnreachable();
    }
    long begun = nanoTime.getAsLong();
    try (connection) {
      serve(connection);
    } catch (Session.RefusedException refused) {
      backoff.toLongest();
      log.line(refused.getMessage());
      return backoff.afterSession();
    } catch (Throwable end) {
      tellEnd(end);
    }
    lastServed = nanoTime.getAsLong();
    if (lastServed - begun >= LIVED_NANOS)
      backoff.reset();
    return backoff.afterSession();
  }

  private void stopCounting() {
    requests.stop();
    gcLedger.stop();
  }

  private void serve(Connection connection) throws IOException {
    Session session = new Session(connection, processId,
        new PropertySampler(processId, Collector::property, System::getenv),
        new RequestSampler(processId, requests, System::currentTimeMillis),
        new GcSampler(processId, gcLedger, System::currentTimeMillis, nanoTime), budget, search, statistics,
        log);
    session.greet(options, platform(), Locale.getDefault().toString());
    log.line("Connected with the agent at " + options.agentHost + ":" + options.agentPort + " as "
        + options.serverName);
    while (!Thread.currentThread().isInterrupted()) session.serveOne();
  }

  private void tellEnd(Throwable why) {
    log.line("No session with the agent at " + options.agentHost + ":" + options.agentPort + ": " + why);
  }

  private static String platform() {
    return "java" + Runtime.version().feature() + " " + System.getProperty("os.name", "");
  }

  /** A property of the JVM's, and the server's version under the name by which the agent knows it. */
  private static String property(String name) {
    String value = System.getProperty(name);
    if (value != null || !name.equals(AllowedNames.SERVER_VERSION))
      return value;
    String version;
    try {
      version = HostServer.version();
    } catch (LinkageError noManagementModule) {
      return null;
    }
    return version.isEmpty() ? null : version;
  }
}
