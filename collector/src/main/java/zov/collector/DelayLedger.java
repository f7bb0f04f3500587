package zov.collector;

import java.util.function.LongSupplier;

/**
 * Keeps what the host's threads waited for and the agent has not been told: as parts of requests, and for
 * each data source and message queue. It lasts longer than a session, so that an agent which comes back is
 * told what happened meanwhile.
 *
 * Any thread of the host's adds; for locks and limits see {@link TallyLedger}. Times are in nanoseconds.
 */
final class DelayLedger {
  /** Connections, queries, updates. */
  static final int DATA_SOURCE_WAYS = 3;
  /** Gets, puts, browses, publications. */
  static final int QUEUE_WAYS = 4;

  /**
   * By type, application, request, and the two details of the delay; done in one way only, and not scaled.
   */
  final TallyLedger parts;
  /** By name, product and version. */
  final TallyLedger dataSources;
  /** By connection and queue; the number is the kind of the destination. */
  final TallyLedger queues;

  DelayLedger(LongSupplier nanoTime) {
    parts = new TallyLedger(1, nanoTime);
    dataSources = new TallyLedger(DATA_SOURCE_WAYS, nanoTime);
    queues = new TallyLedger(QUEUE_WAYS, nanoTime);
  }

  void clear() {
    parts.clear();
    dataSources.clear();
    queues.clear();
  }

  /** All delays of a request at one place. */
  void addPart(TracedRequest request, TracedRequest.Part part) {
    TallyLedger.Kind kind =
        new TallyLedger.Kind(part.type.number, request.application, request.name, part.detail1, part.detail2);
    parts.add(kind, 0, part.count, part.nanos, part.longestNanos);
  }

  /** Commits and rollbacks are told as parts of requests only. */
  void addDataSource(DelayType type, TallyLedger.Kind dataSource, double weight, long nanos) {
    if (type != DelayType.TRANSACTION)
      dataSources.add(dataSource, type.ordinal() - DelayType.CONNECTION.ordinal(), weight, nanos);
  }

  void addQueue(DelayType type, TallyLedger.Kind queue, double weight, long nanos) {
    queues.add(queue, type.ordinal() - DelayType.GET.ordinal(), weight, nanos);
  }
}
