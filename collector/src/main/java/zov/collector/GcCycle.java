package zov.collector;

/**
 * One garbage collection, told when it has ended: times in milliseconds, what the heap holds and has of the
 * system's memory in bytes. {@link GcLedger} numbers it; then it is not changed any more.
 */
final class GcCycle {
  /** The heap at one moment. */
  static final class Heap {
    final long used;
    final long size;

    Heap(long used, long size) {
      this.used = used;
      this.size = size;
    }
  }

  /** It was begun because there was no room for a new object. */
  final boolean afterFailure;
  final long startUnixMillis;
  /** Of the JVM's own clock, for differences. */
  final long startMillis;
  final long durationMillis;
  final Heap before;
  final Heap after;

  /** From 1 on, for as long as the JVM lives. */
  long number;
  /** The same of failures alone; unknown when none was behind it. */
  long failureNumber = Interval.UNKNOWN;
  /** Since the failure before; unknown of the first. */
  long sinceFailureMillis = Interval.UNKNOWN;

  GcCycle(boolean afterFailure, long startUnixMillis, long startMillis, long durationMillis, Heap before,
      Heap after) {
    this.afterFailure = afterFailure;
    this.startUnixMillis = startUnixMillis;
    this.startMillis = startMillis;
    this.durationMillis = durationMillis;
    this.before = before;
    this.after = after;
  }

  /** What the application allocates beside a collection may be more than that frees. */
  long freedBytes() { return Math.max(0, before.used - after.used); }
}
