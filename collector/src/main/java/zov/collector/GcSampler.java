package zov.collector;

import java.io.IOException;
import java.time.Instant;
import java.util.function.LongSupplier;

/**
 * Tells the agent, at each poll, what the garbage collector did since it was last told: in all, and of each
 * collection, with a sample of its own for the allocation failure behind it. One object serves one session.
 *
 * The agent shows 32 bits of a figure. So the heap's state goes out in KiB, and an amount in bytes that is
 * more is left out.
 */
final class GcSampler {
  private static final long NANOS_PER_MILLI = 1_000_000;
  private static final long BYTES_PER_KIB = 1024;
  private static final long ALL_PERCENT = 100;

  private final long processId;
  private final GcLedger ledger;
  private final LongSupplier unixMillis;
  private final LongSupplier nanoTime;
  private final long begun;
  private boolean wanted;

  GcSampler(long processId, GcLedger ledger, LongSupplier unixMillis, LongSupplier nanoTime) {
    this.processId = processId;
    this.ledger = ledger;
    this.unixMillis = unixMillis;
    this.nanoTime = nanoTime;
    begun = nanoTime.getAsLong();
  }

  /** The agent wants collections; what is counted already is told. False when this JVM tells of none. */
  boolean start(long mostCycles) {
    wanted = ledger.start(mostCycles);
    return wanted;
  }

  void stop() {
    wanted = false;
    ledger.stop();
  }

  /** An agent that wanted them in a session before, and has not asked in this one, does not any longer. */
  void check() {
    if (!wanted && nanoTime.getAsLong() - begun > Collector.KEPT_NANOS)
      ledger.stop();
  }

  void sample(SampleSink sink) throws IOException {
    if (!wanted)
      return;
    sink.send(activity(ledger.takeTotals()));
    sink.progress();
    for (GcCycle cycle = ledger.takeCycle(); cycle != null; cycle = ledger.takeCycle()) {
      if (cycle.afterFailure)
        sink.send(failure(cycle));
      sink.send(collection(cycle));
      sink.progress();
    }
  }

  private Message activity(GcLedger.Totals totals) {
    long millis = Math.max(1, totals.nanos / NANOS_PER_MILLI);
    Message sample = Message.intervalSample(SampleTypes.GARBAGE_COLLECTION, unixMillis.getAsLong(), millis)
                         .number(Keys.PROCESS_ID, processId)
                         .number(Keys.GC_RUNS, totals.runs)
                         .number(Keys.GC_BYTES_FREED, shown(totals.freedBytes))
                         .number(Keys.GC_TIME, totals.millis)
                         .number(Keys.GC_RATE, totals.runs);
    if (totals.last == null)
      return sample;
    GcCycle.Heap heap = totals.last.after;
    return sample.number(Keys.GC_IN_USE, heap.used / BYTES_PER_KIB).number(Keys.GC_FREE, freeKib(heap));
  }

  /** Of the heap before; the agent works out from that, and what was freed, what is used after. */
  private Message failure(GcCycle cycle) {
    long size = shown(cycle.before.size);
    boolean known = size != Interval.UNKNOWN;
    return one(SampleTypes.ALLOCATION_FAILURE, cycle)
        .number(Keys.GC_ELAPSED_TIME, cycle.sinceFailureMillis)
        .number(Keys.HEAP_1_FREE, known ? size - cycle.before.used : Interval.UNKNOWN)
        .number(Keys.HEAP_1_SIZE, size)
        .number(Keys.HEAP_2_FREE, 0)
        .number(Keys.HEAP_2_SIZE, 0)
        .number(Keys.FAILURE_CYCLES, 1)
        .number(Keys.HEAP_EXPANSION, shown(cycle.after.size - cycle.before.size))
        .text(Keys.ALLOCATION_FAILURE_TIME_TEXT, Instant.ofEpochMilli(cycle.startUnixMillis).toString());
  }

  private Message collection(GcCycle cycle) {
    return one(SampleTypes.GC_CYCLE, cycle)
        .number(Keys.CYCLE_NUMBER, cycle.number)
        .number(Keys.HEAP_AVAILABLE, freeKib(cycle.after))
        .number(Keys.HEAP_TOTAL, cycle.after.size / BYTES_PER_KIB)
        .number(Keys.GC_ELAPSED_TIME, cycle.durationMillis)
        .number(Keys.CYCLE_TIME, cycle.startUnixMillis);
  }

  /** What is the same for both. */
  private Message one(int type, GcCycle cycle) {
    GcCycle.Heap heap = cycle.after;
    long percentFree = heap.size == 0 ? Interval.UNKNOWN : ALL_PERCENT * (heap.size - heap.used) / heap.size;
    return Message.sample(type)
        .number(Keys.SAMPLE_TIME, (cycle.startUnixMillis + cycle.durationMillis) / 1000)
        .number(Keys.PROCESS_ID, processId)
        .number(Keys.ALLOCATION_FAILURE_NUMBER, cycle.failureNumber)
        .number(Keys.BYTES_FREED, shown(cycle.freedBytes()))
        .number(Keys.HEAP_PERCENT_FREE, percentFree);
  }

  /** In use and free together are the whole, also when all are shown in KiB. */
  private static long freeKib(GcCycle.Heap heap) {
    return heap.size / BYTES_PER_KIB - heap.used / BYTES_PER_KIB;
  }

  private static long shown(long bytes) {
    return Math.abs(bytes) > Integer.MAX_VALUE ? Interval.UNKNOWN : bytes;
  }
}
