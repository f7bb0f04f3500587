package zov.collector;

/**
 * Reads the calls that host's threads waited in: what kind of delay each was, and where. The tracer times
 * them, the outermost of each thread only, and tells of them here. Called on the host's threads, many at
 * once, so that nothing may wait there; what is thrown is dropped.
 */
interface Delays {
  /** Whether the call that begins is to be told of; measured says whether delays count here. */
  boolean isWanted(int kind, Object target, boolean measured);

  /**
   * A call has ended: the request that it is in, or null outside of any; its kind, of {@link zov.boot.Hooks};
   * what was called and with what; what came of it: a result, null where that is no object, or an exception.
   * None of these objects may be held longer than this call, unless weakly.
   *
   * What is of the request is told it by {@link TracedRequest#delay} and {@link TracedRequest#part}.
   */
  void ended(TracedRequest request, int kind, long nanos, Object target, Object argument, Object result,
      Throwable thrown);

  /** A request has ended that was measured; its names are those of the tables now, its parts are complete. */
  void ended(TracedRequest request);
}
