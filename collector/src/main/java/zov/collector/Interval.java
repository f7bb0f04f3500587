package zov.collector;

/**
 * What a servlet or JSP did between two readings: requests that ended, and in milliseconds their time and the
 * longest of them. A value, never changed.
 */
final class Interval {
  /** A figure that cannot be told; on the wire it is left out. */
  static final long UNKNOWN = -1;

  static final Interval NONE = new Interval(0, 0, UNKNOWN);

  final long count;
  final long totalMillis;
  final long longestMillis;

  Interval(long count, long totalMillis, long longestMillis) {
    this.count = count;
    this.totalMillis = totalMillis;
    this.longestMillis = longestMillis;
  }

  /** Both together; what is unknown of one is unknown of both. */
  Interval plus(Interval other) {
    if (count == 0 || other.count == 0)
      return count == 0 ? other : this;
    boolean timed = totalMillis != UNKNOWN && other.totalMillis != UNKNOWN;
    boolean ranked = longestMillis != UNKNOWN && other.longestMillis != UNKNOWN;
    return new Interval(count + other.count, timed ? totalMillis + other.totalMillis : UNKNOWN,
        ranked ? Math.max(longestMillis, other.longestMillis) : UNKNOWN);
  }
}
