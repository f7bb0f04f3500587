package zov.collector;

/**
 * What one servlet or JSP has done since it was loaded, as the server counts it: requests that have begun,
 * and total and longest time in milliseconds of those that have ended. A value, never changed.
 */
final class ServletCounters {
  /** The longest request of an interval is not known. */
  static final long UNKNOWN = -1;

  private static final ServletCounters NONE = new ServletCounters("", "", 0, 0, 0);

  final String application;
  final String servlet;
  final long count;
  final long totalMillis;
  final long longestMillis;

  ServletCounters(String application, String servlet, long count, long totalMillis, long longestMillis) {
    this.application = application;
    this.servlet = servlet;
    this.count = count;
    this.totalMillis = totalMillis;
    this.longestMillis = longestMillis;
  }

  /**
   * What happened since an earlier reading; null stands for a servlet that was not there then. Counts that
   * have gone back mean that it was loaded anew.
   *
   * The server keeps the longest request since loading only. So the longest of the interval is known when
   * that has grown, or when no time was spent at all; otherwise it is {@link #UNKNOWN}.
   */
  ServletCounters since(ServletCounters earlier) {
    ServletCounters before = continues(earlier) ? earlier : NONE;
    long total = totalMillis - before.totalMillis;
    long longest = longestMillis > before.longestMillis ? longestMillis : total == 0 ? 0 : UNKNOWN;
    return new ServletCounters(application, servlet, count - before.count, total, longest);
  }

  /** Whether the servlet has not been loaded anew since that reading. */
  boolean continues(ServletCounters earlier) {
    return earlier != null && earlier.count <= count && earlier.totalMillis <= totalMillis
        && earlier.longestMillis <= longestMillis;
  }
}
