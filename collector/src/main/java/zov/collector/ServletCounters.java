package zov.collector;

/**
 * What one servlet or JSP has done since it was loaded, as the server counts it. A value, never changed.
 *
 * The server counts a request when it begins, and its time when it ends. So that an average never takes one
 * interval's count and another's time, requests that still run are taken off the count.
 */
final class ServletCounters {
  static final ServletCounters ZERO = new ServletCounters(0, false, 0, 0, 0);

  private final long begun;
  private final boolean narrow;
  private final long running;
  private final long totalMillis;
  private final long longestMillis;

  /**
   * The server's count of requests is of 32 bits where it is narrow, and starts again from below zero after
   * 2^31; running is {@link Interval#UNKNOWN} where the server does not tell it.
   */
  ServletCounters(long begun, boolean narrow, long running, long totalMillis, long longestMillis) {
    this.begun = begun;
    this.narrow = narrow;
    this.running = running;
    this.totalMillis = totalMillis;
    this.longestMillis = longestMillis;
  }

  /**
   * What ended since an earlier reading, or since loading where the servlet was loaded anew since.
   *
   * The server keeps the longest request since loading only. So the longest of the interval is known when
   * that has grown, and when there was one request; 0 is below what the server measures, and is not known
   * either.
   */
  Interval since(ServletCounters earlier) {
    ServletCounters before = continues(earlier) ? earlier : ZERO;
    boolean paired = running != Interval.UNKNOWN && before.running != Interval.UNKNOWN;
    long count = begunSince(before) - (paired ? running - before.running : 0);
    if (count <= 0)
      return Interval.NONE;
    long total = paired ? totalMillis - before.totalMillis : Interval.UNKNOWN;
    long longest = longestMillis > before.longestMillis ? longestMillis
        : count == 1 && total > 0                       ? total
                                                        : Interval.UNKNOWN;
    return new Interval(count, total, longest);
  }

  /** Whether the servlet has not been loaded anew since that reading. */
  boolean continues(ServletCounters earlier) {
    return begunSince(earlier) >= 0 && earlier.totalMillis <= totalMillis
        && earlier.longestMillis <= longestMillis;
  }

  private long begunSince(ServletCounters earlier) {
    long difference = begun - earlier.begun;
    if (!narrow)
      return difference;
    return earlier == ZERO ? Integer.toUnsignedLong((int) difference) : (int) difference;
  }
}
