package zov.collector;

/**
 * Seconds to wait before the next attempt: 1, 2, 4 and so on. An agent that cannot be reached costs next to
 * nothing to ask and is wanted back soon, so there {@link #LONGEST_UNREACHABLE} is the most; a session that
 * ends soon costs both sides work, so there it is {@link #LONGEST}. Not thread-safe.
 */
final class Backoff {
  static final int LONGEST = 30;
  static final int LONGEST_UNREACHABLE = 2;

  private int next = 1;

  int afterSession() { return take(LONGEST); }

  int afterUnreachable() { return take(LONGEST_UNREACHABLE); }

  private int take(int longest) {
    int seconds = Math.min(longest, next);
    next = Math.max(next, Math.min(longest, 2 * next));
    return seconds;
  }

  void reset() { next = 1; }

  void toLongest() { next = LONGEST; }
}
