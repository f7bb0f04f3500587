package zov.collector;

/**
 * A call of the host's that has ended: what kind of delay it was, and where. A value; its names are
 * patterns.
 */
final class HostCall {
  final DelayType type;
  final String detail1;
  final String detail2;
  /** The data source or message queue, in the form of its ledger; null when there is none. */
  final TallyLedger.Kind place;

  HostCall(DelayType type, String detail1, String detail2, TallyLedger.Kind place) {
    this.type = type;
    this.detail1 = detail1;
    this.detail2 = detail2;
    this.place = place;
  }
}
