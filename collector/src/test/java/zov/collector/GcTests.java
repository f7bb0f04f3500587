package zov.collector;

import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.Consumer;

/** Garbage collections, from the JVM's words to samples. */
final class GcTests {
  private static final int PID = 4711;
  private static final long MIB = 1 << 20;
  private static final long NOW = 1_700_000_000_500L;

  private GcTests() {}

  static void run() {
    Check.test("collections go out once, with the failure that was behind them", () -> {
      Given given = new Given();
      given.sampler.start(200);
      given.collect(false, 1_000, 30, 24 * MIB, 4 * MIB, 32 * MIB);
      given.collect(true, 1_400, 5, 28 * MIB, 8 * MIB, 32 * MIB);
      given.collect(true, 2_000, 5, 28 * MIB, 30 * MIB, 64 * MIB);
      given.nanos.addAndGet(2_600_000_000L);
      Check.equal(
          List.of(Hex.sample(14, Hex.number(20, 1_700_000_000), Hex.number(21, 3), Hex.number(314, 2600),
                      Hex.number(4, PID), Hex.number(352, 3), Hex.number(353, 40 * MIB), Hex.number(356, 40),
                      Hex.number(358, 3), Hex.number(354, 30 * 1024), Hex.number(355, 34 * 1024)),
              cycle(1, 1_000, 30, "", 20, 87, 28, 32), failure(1, 20, 75, "", 4, 32, 0, "00:00:01.400"),
              cycle(2, 1_400, 5, Hex.number(1061, 1), 20, 75, 24, 32),
              failure(2, 0, 53, Hex.number(1063, 600), 36, 64, 0, "00:00:02"),
              cycle(3, 2_000, 5, Hex.number(1061, 2), 0, 53, 34, 64)),
          given.poll());
      given.nanos.addAndGet(1_000_000_000L);
      Check.equal(List.of(Hex.sample(14, Hex.number(20, 1_700_000_000), Hex.number(21, 1),
                      Hex.number(314, 1000), Hex.number(4, PID), Hex.number(352, 0), Hex.number(353, 0),
                      Hex.number(356, 0), Hex.number(358, 0))),
          given.poll());
    });

    Check.test("the latest are kept, all are counted, and what 32 bits do not show is left out", () -> {
      Given given = new Given();
      given.sampler.start(2);
      for (int i = 0; i < 5; i++) given.collect(true, i, 1, 4096 * MIB, 0, 8192 * MIB);
      given.sampler.sample(given.samples);
      List<Message> told = given.samples.takeMessages();
      Check.equal("14 53 54 53 54", types(told));
      Check.equal(
          "5 4 5", told.get(0).number(352) + " " + told.get(2).number(1076) + " " + told.get(4).number(1076));
      Check.equal("8388608 -1 -1 -1 100",
          told.get(2).number(1078) + " " + told.get(2).number(1071) + " " + told.get(1).number(1067) + " "
              + told.get(0).number(353) + " " + told.get(2).number(1072));
    });

    Check.test("who stopped, or came back and does not ask, is told nothing, and numbers go on", () -> {
      Given given = new Given();
      given.sampler.start(0);
      given.collect(false, 1, 1, MIB, 0, MIB);
      given.newSession();
      given.nanos.addAndGet(Collector.KEPT_NANOS);
      given.sampler.check();
      Check.equal(List.of(), given.poll());
      given.sampler.start(0);
      Check.equal("14 54", types(given.tell()));
      given.newSession();
      given.nanos.addAndGet(Collector.KEPT_NANOS + 1);
      given.sampler.check();
      Check.equal(null, given.receiver);
      given.sampler.start(0);
      given.collect(false, 1, 1, MIB, 0, MIB);
      given.sampler.stop();
      given.sampler.start(0);
      given.collect(false, 1, 1, MIB, 0, MIB);
      List<Message> told = given.tell();
      Check.equal("14 54", types(told));
      Check.equal(3L, told.get(1).number(1076));
    });

    Check.test("this JVM tells of a collection, until nobody listens", () -> {
      GcWatch watch = new GcWatch();
      BlockingQueue<GcCycle> told = new LinkedBlockingQueue<>();
      Check.equal(true, watch.start(told::add));
      System.gc();
      GcCycle collection = told.poll(10, TimeUnit.SECONDS);
      long size = Runtime.getRuntime().maxMemory();
      GcCycle.Heap heap = collection.after;
      Check.holds(
          0 < heap.used && heap.used < heap.size && heap.size <= size, heap.used + " of " + heap.size);
      long age = System.currentTimeMillis() - collection.startUnixMillis - collection.durationMillis;
      Check.holds(age >= 0 && age < 10_000, age);
      watch.stop();
      told.clear();
      long counted = counted();
      System.gc();
      Check.holds(counted() > counted, counted);
      Check.equal(null, told.poll(300, TimeUnit.MILLISECONDS));
    });
  }

  private static long counted() {
    long count = 0;
    for (GarbageCollectorMXBean collector : ManagementFactory.getGarbageCollectorMXBeans())
      count += collector.getCollectionCount();
    return count;
  }

  private static String types(List<Message> samples) {
    List<String> types = new ArrayList<>();
    for (Message sample : samples) types.add(String.valueOf(sample.subtype));
    return String.join(" ", types);
  }

  private static String cycle(int number, long millis, long duration, String failure, int freedMib,
      int percentFree, int freeMib, int sizeMib) {
    return Hex.sample(54, Hex.number(20, (millis + duration) / 1000), Hex.number(4, PID), failure,
        Hex.number(1071, freedMib * MIB), Hex.number(1072, percentFree), Hex.number(1076, number),
        Hex.number(1077, freeMib * 1024L), Hex.number(1078, sizeMib * 1024L), Hex.number(1063, duration),
        Hex.number(1088, millis));
  }

  private static String failure(int number, int freedMib, int percentFree, String since, int freeMib,
      int sizeMib, int growthMib, String time) {
    return Hex.sample(53, Hex.number(20, number), Hex.number(4, PID), Hex.number(1061, number),
        Hex.number(1071, freedMib * MIB), Hex.number(1072, percentFree), since,
        Hex.number(1066, freeMib * MIB), Hex.number(1067, sizeMib * MIB), Hex.number(1068, 0),
        Hex.number(1069, 0), Hex.number(1070, 1), Hex.number(1073, growthMib * MIB),
        Hex.text(1064, "1970-01-01T" + time + "Z"));
  }

  /** Collections that are given, in steps of a clock. */
  private static final class Given implements GcLedger.Source {
    final AtomicLong nanos = new AtomicLong(5);
    final GcLedger ledger = new GcLedger(() -> this, nanos::get);
    final Samples samples = new Samples();
    GcSampler sampler;
    Consumer<GcCycle> receiver;

    Given() { newSession(); }

    void newSession() { sampler = new GcSampler(PID, ledger, () -> NOW, nanos::get); }

    void collect(boolean failed, long millis, long duration, long before, long after, long size) {
      receiver.accept(new GcCycle(
          failed, millis, millis, duration, new GcCycle.Heap(before, size), new GcCycle.Heap(after, size)));
    }

    List<String> poll() throws Exception {
      sampler.sample(samples);
      return samples.take();
    }

    List<Message> tell() throws Exception {
      sampler.sample(samples);
      return samples.takeMessages();
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
