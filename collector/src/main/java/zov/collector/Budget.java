package zov.collector;

import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.util.function.LongSupplier;

/**
 * How much processor time the collector takes for one poll. It is asked between the steps of a poll, so that
 * a step which does not come back is not ended by it. Used by the collector's thread only.
 */
final class Budget {
  /** For one poll; what it did not come to goes with the next. */
  static final long NANOS = 250_000_000L;

  /** The budget is spent: the poll ends with what it has. */
  static final class SpentException extends RuntimeException {
    private static final long serialVersionUID = 1;

    SpentException() {
      super("its " + NANOS / 1_000_000 + " ms of processor time are over; the rest goes with the next poll");
    }
  }

  private final LongSupplier usedNanos;
  private long end;

  /** The clock is that of {@link #ofThisThread}, or a test's. */
  Budget(LongSupplier usedNanos) { this.usedNanos = usedNanos; }

  void begin() { end = usedNanos.getAsLong() + NANOS; }

  void check() {
    if (usedNanos.getAsLong() > end)
      throw new SpentException();
  }

  /** The processor time of the calling thread; where the JVM does not tell it, elapsed time. */
  static LongSupplier ofThisThread() {
    try {
      ThreadMXBean threads = ManagementFactory.getThreadMXBean();
      if (threads.isCurrentThreadCpuTimeSupported() && threads.isThreadCpuTimeEnabled())
        return threads::getCurrentThreadCpuTime;
    } catch (LinkageError | RuntimeException noManagementModule) {
      // A JVM may run without that module.
    }
    return System::nanoTime;
  }
}
