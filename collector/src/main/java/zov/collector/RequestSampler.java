package zov.collector;

import java.io.IOException;
import java.util.function.LongSupplier;

/**
 * Tells the agent, at each poll, which requests ended since it was last told: as they were traced, or else as
 * the server's MBeans have it, by servlet and JSP. Every request is counted, so no percentage thins these
 * figures. One object serves one session.
 */
final class RequestSampler {
  /** The kind of request: a servlet or JSP. */
  static final int SERVLET_OR_JSP = 1;
  private static final long NANOS_PER_MILLI = 1_000_000;

  private final long processId;
  private final RequestCounting counting;
  private final RequestLedger ledger;
  private final LongSupplier unixMillis;
  private final Abbreviations abbreviations;
  private final TraceSampler traced;
  private final DelaySampler delays;
  private boolean wanted;

  RequestSampler(long processId, RequestCounting counting, LongSupplier unixMillis) {
    this.processId = processId;
    this.counting = counting;
    ledger = counting.told;
    this.unixMillis = unixMillis;
    abbreviations = new Abbreviations(processId);
    traced = new TraceSampler(processId, counting.traced, unixMillis, abbreviations);
    delays =
        new DelaySampler(processId, counting.delays, unixMillis, abbreviations, counting.traced::scaleOf);
  }

  /** The agent wants requests; what is counted already is told, which may be from before this session. */
  void start() {
    wanted = true;
    ledger.start();
  }

  /** The same, by tracing; false when that cannot be. */
  boolean trace(int level, int measuredPercent) {
    wanted = counting.trace(level, measuredPercent);
    return wanted;
  }

  boolean isTraced() { return counting.isTraced(); }

  void stop() {
    wanted = false;
    counting.stop();
  }

  void sample(SampleSink sink) throws IOException {
    if (!wanted) {
      stop();
      return;
    }
    if (isTraced()) {
      traced.sample(sink);
      delays.sample(sink);
      return;
    }
    for (RequestLedger.Account account : ledger.accounts()) {
      sink.progress();
      ledger.read(account);
      long millis = Math.max(1, ledger.age(account) / NANOS_PER_MILLI);
      Interval interval = ledger.take(account);
      if (interval.count > 0)
        tell(account, interval, millis, sink);
    }
  }

  private void tell(RequestLedger.Account account, Interval interval, long millis, SampleSink sink)
      throws IOException {
    String application = abbreviations.shorten(account.application, sink);
    String servlet = abbreviations.shorten(account.servlet, sink);
    sink.send(Message.intervalSample(SampleTypes.WORKLOAD_SUMMARY, unixMillis.getAsLong(), millis)
                  .number(Keys.REQUEST_TYPE, SERVLET_OR_JSP)
                  .number(Keys.REQUEST_COUNT, interval.count)
                  .number(Keys.REQUEST_TIME, interval.totalMillis)
                  .number(Keys.LONGEST_REQUEST_TIME, interval.longestMillis)
                  .number(Keys.PROCESS_ID, processId)
                  .text(Keys.APPLICATION_NAME, application)
                  .text(Keys.REQUEST_NAME, servlet));
  }
}
