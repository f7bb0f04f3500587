package zov.collector;

import java.io.IOException;
import java.util.List;
import java.util.function.LongSupplier;

/**
 * Tells the agent, at each poll, what requests waited for since it was last told, and what was done with each
 * data source and message queue. Times are in whole milliseconds. One object serves one session.
 */
final class DelaySampler {
  private static final long NANOS_PER_MILLI = 1_000_000;
  private static final int[][] DATA_SOURCE_KEYS = {{Keys.CONNECTION_COUNT, Keys.CONNECTION_WAIT_TIME},
      {Keys.QUERY_COUNT, Keys.QUERY_TIME}, {Keys.UPDATE_COUNT, Keys.UPDATE_TIME}};
  private static final int[][] QUEUE_KEYS = {{Keys.GET_COUNT, Keys.GET_TIME}, {Keys.PUT_COUNT, Keys.PUT_TIME},
      {Keys.BROWSE_COUNT, Keys.BROWSE_TIME}, {Keys.PUBLISH_COUNT, Keys.PUBLISH_TIME}};
  private static final int[] PART_NAMES = {
      Keys.APPLICATION_NAME, Keys.REQUEST_NAME, Keys.DELAY_DETAIL_1, Keys.DELAY_DETAIL_2};
  private static final int[] DATA_SOURCE_NAMES = {
      Keys.DATA_SOURCE_NAME, Keys.PRODUCT_NAME, Keys.PRODUCT_VERSION};
  private static final int[] QUEUE_NAMES = {Keys.QUEUE_MANAGER_NAME, Keys.QUEUE_NAME};

  /** Writes what was counted of a kind into its sample. */
  private interface Figures {
    void put(Message sample, TallyLedger.Tally[] tallies);
  }

  /** By how much what was measured of an application's request is to be scaled. */
  interface Scales {
    Scale of(String application, String request);
  }

  private final long processId;
  private final DelayLedger ledger;
  private final LongSupplier unixMillis;
  private final Abbreviations abbreviations;
  private final Scales scales;

  DelaySampler(long processId, DelayLedger ledger, LongSupplier unixMillis, Abbreviations abbreviations,
      Scales scales) {
    this.scales = scales;
    this.processId = processId;
    this.ledger = ledger;
    this.unixMillis = unixMillis;
    this.abbreviations = abbreviations;
  }

  void sample(SampleSink sink) throws IOException {
    tell(ledger.dataSources, SampleTypes.DATA_SOURCE, DATA_SOURCE_NAMES, 0, sink, (sample, tallies) -> {
      counts(sample, DATA_SOURCE_KEYS, tallies);
      sample.number(Keys.LONGEST_CONNECTION_WAIT_TIME, tallies[0].longestMillis);
    });
    tell(ledger.queues, SampleTypes.XQ_ACCESS, QUEUE_NAMES, Keys.QUEUE_ACCESS_TYPE, sink,
        (sample, tallies) -> counts(sample, QUEUE_KEYS, tallies));
    tell(ledger.parts, SampleTypes.WORKLOAD_DETAIL, PART_NAMES, Keys.DELAY_TYPE, sink,
        (sample, tallies)
            -> sample.number(Keys.REQUEST_TYPE, RequestSampler.SERVLET_OR_JSP)
                   .number(Keys.DELAY_COUNT, tallies[0].count)
                   .number(Keys.DELAY_TIME, tallies[0].millis)
                   .number(Keys.LONGEST_DELAY_TIME, tallies[0].longestMillis));
  }

  private void tell(TallyLedger of, int sampleType, int[] nameKeys, int numberKey, SampleSink sink,
      Figures figures) throws IOException {
    for (TallyLedger.Account account : of.accounts()) {
      sink.progress();
      long millis = Math.max(1, of.age(account) / NANOS_PER_MILLI);
      Message sample = Message.intervalSample(sampleType, unixMillis.getAsLong(), millis)
                           .number(Keys.PROCESS_ID, processId);
      if (numberKey != 0)
        sample.number(numberKey, account.kind.number);
      for (int i = 0; i < nameKeys.length; i++)
        sample.text(nameKeys[i], abbreviations.shorten(account.kind.names.get(i), sink));
      figures.put(sample, of.take(account, 0, scale(of, account.kind.names)));
      sink.send(sample);
    }
  }

  /** Data sources and queues have been weighed call by call. */
  private Scale scale(TallyLedger of, List<String> names) {
    return of == ledger.parts ? scales.of(names.get(0), names.get(1)) : Scale.NONE;
  }

  private static void counts(Message sample, int[][] keys, TallyLedger.Tally[] tallies) {
    for (int way = 0; way < keys.length; way++)
      sample.number(keys[way][0], tallies[way].count).number(keys[way][1], tallies[way].millis);
  }
}
