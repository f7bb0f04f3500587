package zov.boot;

/**
 * What code that was woven into the host calls: on the boot class path, so that all classes see it. While no
 * tracer is set each call is a read of one field, and none ever throws: the host comes first.
 */
public final class Hooks {
  /** Kinds of calls that may wait: how their target, argument and result are to be read. */
  public static final int CONNECTION = 1;
  public static final int STATEMENT = 2;
  public static final int COMMIT = 3;
  public static final int ROLLBACK = 4;
  /** No wait: it tells which text a statement has. */
  public static final int PREPARE = 5;
  public static final int SEND = 6;
  public static final int RECEIVE = 7;
  public static final int BROWSE = 8;
  public static final int CALL = 9;
  public static final int CALL_OF_CLIENT = 10;
  public static final int LOOK_UP = 11;

  /** Null while nothing is traced. */
  public static volatile Tracer tracer;

  private Hooks() {}

  public static Object enter(Object exchange, Object response) {
    Tracer to = tracer;
    if (to == null)
      return null;
    try {
      return to.enter(exchange, response);
    } catch (Throwable failure) {
      return null;
    }
  }

  /** The result is not looked at. */
  public static void leave(Object token, Object result, Throwable thrown) {
    Tracer to = tracer;
    if (to == null || token == null)
      return;
    try {
      to.leave(token, thrown);
    } catch (Throwable failure) {
      // The host comes first.
    }
  }

  /** A call begins that ends the exchange, or may. */
  public static Object ending(Object exchange, Object unused) { return exchange; }

  /** It has ended; how does not matter. */
  public static void ended(Object exchange, Object result, Throwable thrown) {
    Tracer to = tracer;
    if (to == null)
      return;
    try {
      to.ended(exchange);
    } catch (Throwable failure) {
      // The host comes first.
    }
  }

  public static Object delayBegin(int kind, Object target, Object argument) {
    Tracer to = tracer;
    if (to == null)
      return null;
    try {
      return to.delayBegin(kind, target, argument);
    } catch (Throwable failure) {
      return null;
    }
  }

  public static void delayEnd(Object token, Object result, Throwable thrown) {
    Tracer to = tracer;
    if (to == null || token == null)
      return;
    try {
      to.delayEnd(token, result, thrown);
    } catch (Throwable failure) {
      // The host comes first.
    }
  }
}
