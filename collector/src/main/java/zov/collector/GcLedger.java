package zov.collector;

import java.util.ArrayDeque;
import java.util.Deque;
import java.util.function.Consumer;
import java.util.function.LongSupplier;
import java.util.function.Supplier;

/**
 * Keeps which garbage collections there were and the agent has not been told of. It lasts longer than a
 * session, so that an agent which comes back is told what happened meanwhile.
 *
 * The latest collections are kept, up to a number; the totals count all. Collections come on a thread of the
 * JVM's; the lock, this object, is held for additions only. {@link #start} and {@link #stop} are the
 * collector's thread's.
 */
final class GcLedger {
  /** However many the agent asks for. */
  static final int MOST_CYCLES = 10_000;
  private static final int CYCLES_UNLESS_ASKED = 200;

  /** Tells of each collection from its start to its stop. */
  interface Source {
    /** False when this JVM does not tell of its collections. */
    boolean start(Consumer<GcCycle> receiver);

    void stop();
  }

  /** What the collections of an interval come to. */
  static final class Totals {
    long runs;
    long freedBytes;
    long millis;
    /** Null when there was none. */
    GcCycle last;
    long nanos;
  }

  private final Supplier<Source> sources;
  private final LongSupplier nanoTime;
  private Source source;
  private final Deque<GcCycle> untold = new ArrayDeque<>();
  private Totals totals = new Totals();
  private long since;
  private long mostCycles;
  private long cycles;
  private long failures;
  private long lastFailureMillis;
  private boolean running;

  /** The source is made when it is wanted first: not every JVM can. */
  GcLedger(Supplier<Source> sources, LongSupplier nanoTime) {
    this.sources = sources;
    this.nanoTime = nanoTime;
  }

  /** Counting begins now; when it runs already, it goes on. False when this JVM cannot. */
  boolean start(long wantedCycles) {
    synchronized (this) {
      mostCycles = wantedCycles < 1 ? CYCLES_UNLESS_ASKED : Math.min(wantedCycles, MOST_CYCLES);
      if (running)
        return true;
      takeTotals();
      running = true;
    }
    boolean listens = false;
    try {
      if (source == null)
        source = sources.get();
      listens = source.start(this::add);
    } catch (LinkageError noManagementModule) {
      // A JVM may run without that module.
    } finally {
      if (!listens)
        stop();
    }
    return listens;
  }

  /** Counting ends, and nothing is kept but the numbers that were given, in the JVM neither. */
  void stop() {
    synchronized (this) {
      running = false;
      untold.clear();
    }
    if (source != null)
      source.stop();
  }

  synchronized void add(GcCycle cycle) {
    if (!running)
      return;
    cycle.number = ++cycles;
    if (cycle.afterFailure) {
      if (failures > 0)
        cycle.sinceFailureMillis = cycle.startMillis - lastFailureMillis;
      cycle.failureNumber = ++failures;
      lastFailureMillis = cycle.startMillis;
    }
    totals.runs++;
    totals.freedBytes += cycle.freedBytes();
    totals.millis += cycle.durationMillis;
    totals.last = cycle;
    untold.add(cycle);
    while (untold.size() > mostCycles) untold.remove();
  }

  /** The totals since they were taken before, or counting began. */
  synchronized Totals takeTotals() {
    long now = nanoTime.getAsLong();
    Totals taken = totals;
    taken.nanos = now - since;
    since = now;
    totals = new Totals();
    return taken;
  }

  /** The oldest collection that is untold; null when all are told. */
  synchronized GcCycle takeCycle() { return untold.poll(); }
}
