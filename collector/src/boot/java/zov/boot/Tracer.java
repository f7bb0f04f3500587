package zov.boot;

/**
 * Who is told of requests and delays by the code that was woven into the host. Called on the host's threads,
 * on many at once; what it throws is dropped by {@link Hooks}.
 *
 * Tokens are the tracer's own objects and mean nothing to the host. A null token says that there is nothing
 * to end.
 */
public interface Tracer {
  /** A thread enters a request, or a part of one; exchange is what the container hands on. */
  Object enter(Object exchange, Object response);

  /** It leaves what {@link #enter} has begun; thrown is null unless it leaves by an exception. */
  void leave(Object token, Throwable thrown);

  /** The exchange has ended, on whatever thread. */
  void ended(Object exchange);

  /** A call begins that may wait: kind is one of {@link Hooks}, target the object that is called. */
  Object delayBegin(int kind, Object target, Object argument);

  /** It ends with a result, null where that is no object, or by an exception. */
  void delayEnd(Object token, Object result, Throwable thrown);
}
