package zov.collector;

import java.io.IOException;
import java.util.HashMap;
import java.util.Map;
import java.util.function.LongSupplier;
import javax.management.ObjectName;

/**
 * Tells the agent, at each poll, what each servlet and JSP did since the poll before, or since collection was
 * switched on. The server counts every request, so the figures are complete and no percentage thins them.
 *
 * A request counts when it begins and its time when it ends. Time that is added while no new request begins
 * goes to the next interval that has one. One object serves one session.
 */
final class RequestSampler {
  /** Reads the counters of all servlets and JSPs. */
  interface Source {
    Map<ObjectName, ServletCounters> read(Progress progress) throws IOException;
  }

  /** The kind of request: a servlet or JSP. */
  private static final int SERVLET_OR_JSP = 1;
  private static final long NANOS_PER_MILLI = 1_000_000;

  private final long processId;
  private final Source source;
  private final LongSupplier unixMillis;
  private final LongSupplier nanoTime;
  private final Abbreviations abbreviations;
  private Map<ObjectName, ServletCounters> baseline = new HashMap<>();
  private long baselineTime;
  private boolean running;

  RequestSampler(long processId, Source source, LongSupplier unixMillis, LongSupplier nanoTime) {
    this.processId = processId;
    this.source = source;
    this.unixMillis = unixMillis;
    this.nanoTime = nanoTime;
    abbreviations = new Abbreviations(processId);
  }

  /** Collection begins now; when it runs already, the interval in progress goes on. */
  void start() throws IOException {
    if (running)
      return;
    baselineTime = nanoTime.getAsLong();
    baseline = source.read(() -> {});
    running = true;
  }

  void stop() { running = false; }

  void sample(SampleSink sink) throws IOException {
    if (!running)
      return;
    long now = nanoTime.getAsLong();
    long intervalMillis = Math.max(1, (now - baselineTime) / NANOS_PER_MILLI);
    Map<ObjectName, ServletCounters> present = source.read(sink::progress);
    for (Map.Entry<ObjectName, ServletCounters> entry : present.entrySet()) {
      ServletCounters earlier = baseline.get(entry.getKey());
      ServletCounters interval = entry.getValue().since(earlier);
      if (interval.count > 0) {
        tell(interval, intervalMillis, sink);
      } else if (entry.getValue().continues(earlier)) {
        entry.setValue(earlier);
      }
    }
    baseline = present;
    baselineTime = now;
  }

  private void tell(ServletCounters interval, long millis, SampleSink sink) throws IOException {
    String application = abbreviations.shorten(interval.application, sink);
    String servlet = abbreviations.shorten(interval.servlet, sink);
    sink.send(Message.sample(SampleTypes.WORKLOAD_SUMMARY)
                  .number(Keys.SAMPLE_TIME, unixMillis.getAsLong() / 1000)
                  .number(Keys.DURATION, Math.max(1, Math.round(millis / 1000.0)))
                  .number(Keys.INTERVAL_MILLISECONDS, millis)
                  .number(Keys.REQUEST_TYPE, SERVLET_OR_JSP)
                  .number(Keys.REQUEST_COUNT, interval.count)
                  .number(Keys.REQUEST_TIME, interval.totalMillis)
                  .number(Keys.LONGEST_REQUEST_TIME, interval.longestMillis)
                  .number(Keys.PROCESS_ID, processId)
                  .text(Keys.APPLICATION_NAME, application)
                  .text(Keys.REQUEST_NAME, servlet));
  }
}
