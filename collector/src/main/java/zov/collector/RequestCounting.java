package zov.collector;

import java.util.function.LongSupplier;

/**
 * Counts the requests of this JVM: by tracing them, where that can be and is wanted, else by what the
 * server's MBeans tell. It lasts longer than a session. Used by the collector's thread only.
 */
final class RequestCounting {
  static final int ENTRIES = 1;
  static final int DELAYS = 2;

  final RequestLedger told;
  final TraceLedger traced;
  final DelayLedger delays;
  private final Tracing tracing;
  private final LongSupplier nanoTime;
  private RequestTracer tracer;

  RequestCounting(Tracing tracing, LongSupplier nanoTime) {
    this.tracing = tracing;
    this.nanoTime = nanoTime;
    told = new RequestLedger(nanoTime);
    traced = new TraceLedger(nanoTime);
    delays = new DelayLedger(nanoTime);
  }

  /**
   * Requests are traced from now on, at that level, and their delays measured on so many of them. False when
   * this cannot be.
   */
  boolean trace(int level, int measuredPercent) {
    if (!tracing.isRunning())
      clear();
    boolean starts = tracing.start(level, () -> {
      tracer = new RequestTracer(traced, new HostDelays(delays), nanoTime);
      return tracer;
    });
    if (!starts)
      return false;
    traced.tellDelays(level >= DELAYS, measuredPercent);
    tracer.measure(level >= DELAYS ? measuredPercent : 0);
    return true;
  }

  /** Counting ends, and nothing is kept, in the host neither. */
  void stop() {
    tracing.stop();
    tracer = null;
    clear();
    told.stop();
  }

  private void clear() {
    traced.clear();
    delays.clear();
  }

  boolean isTraced() { return tracing.isRunning(); }
}
