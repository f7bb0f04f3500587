package zov.collector;

import java.util.concurrent.ThreadLocalRandom;
import java.util.function.LongSupplier;
import zov.boot.Tracer;

/**
 * Follows requests through the host, told by the code that is woven into it: counts each when it has ended,
 * asynchronous ones, too, and puts what its threads wait for down to it. Made when tracing starts, and
 * dropped with all it knows when it stops. Called on the host's threads, many at once.
 *
 * The entries that one thread passes belong to the outermost; so do delays, which count once. Whether a
 * request's delays are measured is drawn by lot when it begins.
 */
final class RequestTracer implements Tracer {
  private static final int ALL_PERCENT = 100;

  /** What a thread is doing. It holds nothing of the host's, so that it may stay with its threads. */
  private static final class Doing {
    TracedRequest request;
    boolean waiting;
  }

  /** The token of an entry; it lives as long as the call. */
  private static final class Visit {
    final Doing thread;
    final Exchanges container;
    final Object exchange;
    final Object response;
    final TracedRequest request;
    /** Whether the request had begun before, and came to another thread. */
    final boolean resumed;

    Visit(Doing thread, Exchanges container, Object exchange, Object response, TracedRequest request,
        boolean resumed) {
      this.thread = thread;
      this.container = container;
      this.exchange = exchange;
      this.response = response;
      this.request = request;
      this.resumed = resumed;
    }
  }

  /** The token of a delay. */
  private static final class Wait {
    final Doing thread;
    final int kind;
    final Object target;
    final Object argument;
    final long begunNanos;

    Wait(Doing thread, int kind, Object target, Object argument, long begunNanos) {
      this.thread = thread;
      this.kind = kind;
      this.target = target;
      this.argument = argument;
      this.begunNanos = begunNanos;
    }
  }

  private final TraceLedger ledger;
  private final Delays delays;
  private final LongSupplier nanoTime;
  private final ThreadLocal<Doing> threads = ThreadLocal.withInitial(Doing::new);
  /** Requests that have left their thread and not ended. */
  private final WeakIdentityMap<TracedRequest> open = new WeakIdentityMap<>();
  /** Whether there ever were such; spares the others a look. */
  private volatile boolean anyOpen;
  private volatile int measuredPercent = ALL_PERCENT;

  RequestTracer(TraceLedger ledger, Delays delays, LongSupplier nanoTime) {
    this.ledger = ledger;
    this.delays = delays;
    this.nanoTime = nanoTime;
  }

  /** On how many of the requests that begin from now on delays are measured. */
  void measure(int percent) { measuredPercent = percent; }

  @Override
  public Object enter(Object exchange, Object response) {
    Doing thread = threads.get();
    Exchanges container = Exchanges.of(exchange);
    if (container == null)
      return null;
    if (thread.request != null) {
      if (thread.request.application == null)
        container.describe(exchange, thread.request);
      return null;
    }
    TracedRequest request = anyOpen ? open.get(exchange) : null;
    boolean resumed = request != null && container.isResumed(exchange);
    if (!resumed && !container.isFirst(exchange))
      return null;
    if (!resumed) {
      if (request != null)
        open.remove(exchange);
      request = new TracedRequest(nanoTime.getAsLong(), weight());
      container.describe(exchange, request);
    }
    Visit visit = new Visit(thread, container, exchange, response, request, resumed);
    thread.request = request; // last: without a token nobody would take it back
    return visit;
  }

  private double weight() {
    int percent = measuredPercent;
    if (percent >= ALL_PERCENT)
      return 1;
    return ThreadLocalRandom.current().nextInt(ALL_PERCENT) < percent ? (double) ALL_PERCENT / percent : 0;
  }

  @Override
  public void leave(Object token, Throwable thrown) {
    Visit visit = (Visit) token;
    visit.thread.request = null;
    visit.thread.waiting = false;
    if (visit.resumed)
      return;
    if (thrown == null && visit.container.isOpen(visit.exchange)) {
      leaveOpen(visit);
      return;
    }
    end(visit.request,
        thrown != null ? Exchanges.FAILED : visit.container.status(visit.exchange, visit.response));
  }

  /** Another thread may be quicker, and end the request while this one still leaves it. */
  private void leaveOpen(Visit visit) {
    boolean goesOn = false;
    open.put(visit.exchange, visit.request);
    anyOpen = true;
    try {
      visit.container.whenEnded(visit.exchange, () -> ended(visit.exchange, visit.response));
      goesOn = visit.container.isOpen(visit.exchange);
    } finally {
      if (!goesOn)
        ended(visit.exchange, visit.response);
    }
  }

  @Override
  public void ended(Object exchange) {
    ended(exchange, null);
  }

  private void ended(Object exchange, Object response) {
    TracedRequest request = anyOpen ? open.remove(exchange) : null;
    if (request != null)
      end(request, Exchanges.of(exchange).status(exchange, response));
  }

  private void end(TracedRequest request, int status) {
    ledger.ended(request, nanoTime.getAsLong() - request.begunNanos, status);
    if (request.isMeasured())
      delays.ended(request);
  }

  /** Null, too, within another delay, whose reading by {@link Delays} is a part of it. */
  @Override
  public Object delayBegin(int kind, Object target, Object argument) {
    Doing thread = threads.get();
    boolean measured = thread.request == null || thread.request.isMeasured();
    if (thread.waiting || !delays.isWanted(kind, target, measured))
      return null;
    Wait wait = new Wait(thread, kind, target, argument, nanoTime.getAsLong());
    thread.waiting = true;
    return wait;
  }

  @Override
  public void delayEnd(Object token, Object result, Throwable thrown) {
    Wait wait = (Wait) token;
    long nanos = nanoTime.getAsLong() - wait.begunNanos;
    try {
      delays.ended(wait.thread.request, wait.kind, nanos, wait.target, wait.argument, result, thrown);
    } finally {
      wait.thread.waiting = false;
    }
  }
}
