package zov.collector;

import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.Consumer;

/** Garbage collections, from the JVM's words to samples. */
final class GcTests {
  private static final long MIB = 1 << 20;

  private GcTests() {}

  static void run() {
    Check.test("the latest collections go out once, with the failures behind them, and all count", () -> {
      Given given = new Given();
      given.sampler.start(2);
      given.collect(true, 1_000, 24, 4, 32);
      given.collect(false, 1_400, 28, 8, 32);
      given.collect(true, 2_000, 28, 30, 64);
      given.nanos.addAndGet(2_600_000_000L);
      Check.equal(List.of("14 314:2600 352:3 353:41943040 354:30720 355:34816 356:15 358:3",
                      "54 1071:20971520 1072:75 1076:2 1077:24576 1078:32768 1063:5 1088:1400",
                      "53 1061:2 1071:0 1072:53 1063:1000 1066:37748736 1067:67108864 1070:1",
                      "54 1061:2 1071:0 1072:53 1076:3 1077:34816 1078:65536 1063:5 1088:2000"),
          given.poll());
      given.collect(true, 3_000, 4096, 0, 8192); // more than 32 bits of bytes
      Check.equal(
          List.of("14 314:1 352:1 354:0 355:8388608 356:5 358:1", "53 1061:3 1072:100 1063:1000 1070:1",
              "54 1061:3 1072:100 1076:4 1077:8388608 1078:8388608 1063:5 1088:3000"),
          given.poll());
    });

    Check.test("an agent that comes back is told what was meanwhile, if it asks in time", () -> {
      Given given = new Given();
      for (long away : new long[] {Collector.KEPT_NANOS, Collector.KEPT_NANOS + 1}) {
        given.sampler.start(0);
        given.collect(false, 1, 1, 0, 1);
        given.newSession();
        given.nanos.addAndGet(away);
        given.sampler.check();
        Check.equal(List.of(), given.poll());
        given.sampler.start(0);
        Check.equal(away == Collector.KEPT_NANOS ? 2 : 1, given.poll().size());
      }
    });

    Check.test("this JVM tells of a collection, until nobody listens", () -> {
      GcWatch watch = new GcWatch();
      BlockingQueue<GcCycle> told = new LinkedBlockingQueue<>();
      Check.equal(true, watch.start(told::add));
      System.gc();
      GcCycle one = told.poll(10, TimeUnit.SECONDS);
      long age = System.currentTimeMillis() - one.startUnixMillis - one.durationMillis;
      Check.holds(age >= 0 && age < 10_000, age);
      watch.stop();
      told.clear();
      System.gc();
      Check.equal(null, told.poll(300, TimeUnit.MILLISECONDS));
    });
  }

  /** Collections that are given, in steps of a clock. */
  private static final class Given implements GcLedger.Source {
    private static final int[] SHOWN = {
        314, 352, 353, 354, 355, 356, 358, 1061, 1071, 1072, 1076, 1077, 1078, 1063, 1066, 1067, 1070, 1088};

    final AtomicLong nanos = new AtomicLong(5);
    final GcLedger ledger = new GcLedger(() -> this, nanos::get);
    GcSampler sampler;
    private Consumer<GcCycle> receiver;

    Given() { newSession(); }

    void newSession() { sampler = new GcSampler(4711, ledger, () -> 0, nanos::get); }

    void collect(boolean failed, long millis, long before, long after, long size) {
      receiver.accept(new GcCycle(failed, millis, millis, 5, new GcCycle.Heap(before * MIB, size * MIB),
          new GcCycle.Heap(after * MIB, size * MIB)));
    }

    /** Types and figures of the samples, without what the wire leaves out. */
    List<String> poll() throws Exception {
      Samples samples = new Samples();
      sampler.sample(samples);
      List<String> told = new ArrayList<>();
      for (String hex : samples.take()) {
        Message sample = Message.parse(Hex.bytes(hex));
        StringBuilder text = new StringBuilder().append(sample.subtype);
        for (int key : SHOWN) {
          if (hex.contains(Hex.number(key, sample.number(key))))
            text.append(' ').append(key).append(':').append(sample.number(key));
        }
        told.add(text.toString());
      }
      return told;
    }

    @Override
    public boolean start(Consumer<GcCycle> to) {
      receiver = to;
      return true;
    }

    @Override
    public void stop() {
      receiver = null;
    }
  }
}
