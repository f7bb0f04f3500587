package zov.collector;

/** By how much more there was of all requests of a kind than of those that were measured. A value. */
final class Scale {
  static final Scale NONE = new Scale(1, 1);

  final double counts;
  final double times;

  private Scale(double counts, double times) {
    this.counts = counts;
    this.times = times;
  }

  /** Neither count is 0; times go by time, so that scaled shares never exceed the whole. */
  static Scale of(double allCount, double allNanos, double measuredCount, double measuredNanos) {
    double counts = allCount / measuredCount;
    return new Scale(counts, measuredNanos > 0 ? allNanos / measuredNanos : counts);
  }
}
