package zov.collector;

import java.io.IOException;
import java.util.function.LongSupplier;

/**
 * Tells the agent, at each poll, which requests ended since it was last told, as the tracing has them: by
 * application and pattern, each with what it waited for; by pattern alone, with its errors; and all together.
 * One object serves one session.
 */
final class TraceSampler {
  private static final long NANOS_PER_MILLI = 1_000_000;
  private static final long BYTES_PER_KIB = 1024;
  private static final DelayType[] DELAYS = DelayType.values();

  private final long processId;
  private final TraceLedger ledger;
  private final LongSupplier unixMillis;
  private final Abbreviations abbreviations;

  TraceSampler(long processId, TraceLedger ledger, LongSupplier unixMillis, Abbreviations abbreviations) {
    this.processId = processId;
    this.ledger = ledger;
    this.unixMillis = unixMillis;
    this.abbreviations = abbreviations;
  }

  void sample(SampleSink sink) throws IOException {
    long requests = 0;
    long errors = 0;
    for (TallyLedger.Account account : ledger.accounts()) {
      sink.progress();
      long millis = Math.max(1, ledger.requests.age(account) / NANOS_PER_MILLI);
      String application = abbreviations.shorten(account.kind.names.get(0), sink);
      String name = abbreviations.shorten(account.kind.names.get(1), sink);
      TallyLedger.Tally[] tallies = ledger.take(account);
      requests += tallies[TraceLedger.ALL].count;
      errors += tallies[TraceLedger.ERRORS].count;
      sink.send(
          summary(tallies, millis).text(Keys.APPLICATION_NAME, application).text(Keys.REQUEST_NAME, name));
      sink.send(whole(tallies, millis)
                    .text(Keys.APPLICATION_NAME, application)
                    .text(Keys.REQUEST_NAME, name)
                    .text(Keys.SESSION_NAME, name));
    }
    if (requests > 0)
      sink.send(overview(requests, errors));
  }

  private Message summary(TallyLedger.Tally[] tallies, long millis) {
    TallyLedger.Tally all = tallies[TraceLedger.ALL];
    Message sample = interval(SampleTypes.WORKLOAD_SUMMARY, millis)
                         .number(Keys.REQUEST_COUNT, all.count)
                         .number(Keys.REQUEST_TIME, all.millis)
                         .number(Keys.LONGEST_REQUEST_TIME, all.longestMillis);
    if (!ledger.tellsDelays() || tallies[TraceLedger.MEASURED].count == 0)
      return sample;
    long rest = all.millis;
    for (int i = 0; i < DELAYS.length; i++) {
      TallyLedger.Tally delay = tallies[TraceLedger.FIRST_DELAY + i];
      DelayType type = DELAYS[i];
      sample.number(type.countKey, sample.number(type.countKey) + delay.count)
          .number(type.timeKey, sample.number(type.timeKey) + delay.millis);
      rest -= delay.millis;
    }
    return sample.number(Keys.DELAY_13_TIME, Math.max(0, rest));
  }

  private Message whole(TallyLedger.Tally[] tallies, long millis) {
    TallyLedger.Tally all = tallies[TraceLedger.ALL];
    return interval(SampleTypes.HTTP_SESSION, millis)
        .number(Keys.SESSION_COUNTER_1, all.count)
        .number(Keys.SESSION_FIGURE, all.millis)
        .number(Keys.SESSION_MAXIMUM, all.longestMillis)
        .number(Keys.SESSION_COUNTER_2, tallies[TraceLedger.ERRORS].count);
  }

  private Message interval(int type, long millis) {
    return Message.intervalSample(type, unixMillis.getAsLong(), millis)
        .number(Keys.PROCESS_ID, processId)
        .number(Keys.REQUEST_TYPE, RequestSampler.SERVLET_OR_JSP);
  }

  private Message overview(long requests, long errors) {
    Runtime runtime = Runtime.getRuntime();
    return Message.sample(SampleTypes.SERVER_OVERVIEW)
        .number(Keys.SAMPLE_TIME, unixMillis.getAsLong() / 1000)
        .number(Keys.SERVER_NUMBER, processId)
        .number(Keys.FREE_MEMORY, runtime.freeMemory() / BYTES_PER_KIB)
        .number(Keys.TOTAL_MEMORY, runtime.totalMemory() / BYTES_PER_KIB)
        .number(Keys.OVERVIEW_COUNTER_1, requests)
        .number(Keys.OVERVIEW_COUNTER_2, errors);
  }
}
