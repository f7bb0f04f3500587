package zov.collector;

/** Seconds to wait before the next attempt: 1, 2, 4 and so on up to {@link #LONGEST}. Not thread-safe. */
final class Backoff {
  static final int LONGEST = 30;

  private int next = 1;

  int nextSeconds() {
    int seconds = next;
    next = Math.min(LONGEST, 2 * next);
    return seconds;
  }

  void reset() { next = 1; }

  void toLongest() { next = LONGEST; }
}
