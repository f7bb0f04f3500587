package zov.collector;

import java.lang.reflect.Method;
import java.security.AccessController;
import java.security.PrivilegedAction;

/**
 * Reads what containers hand on for a request: the requests of both servlet APIs, and the exchanges of the
 * JDK's HTTP server. Not all hosts have these types, and some have them twice; so it goes by reflection, with
 * one object of this class for each class of theirs, kept by that class itself and gone with it.
 * The host's rights on its threads may be few, so the collector's are taken.
 */
abstract class Exchanges {
  /** The status of what ended by an exception. */
  static final int FAILED = 500;

  private static final ClassValue<Exchanges> byClass = new ClassValue<>() {
    @Override
    protected Exchanges computeValue(Class<?> type) {
      return AccessController.doPrivileged((PrivilegedAction<Exchanges>) () -> {
        try {
          return made(type);
        } catch (ReflectiveOperationException | RuntimeException | LinkageError unreadable) {
          return null;
        }
      });
    }
  };

  /** Null when it cannot be read. */
  static Exchanges of(Object exchange) { return byClass.get(exchange.getClass()); }

  private static Exchanges made(Class<?> type) throws ReflectiveOperationException {
    for (String api : new String[] {"jakarta.servlet.", "javax.servlet."}) {
      Class<?> request = find(type, api + "http.HttpServletRequest");
      if (request != null)
        return new ServletExchanges(type, request, api);
    }
    Class<?> exchange = find(type, "com.sun.net.httpserver.HttpExchange");
    if (exchange == null)
      throw new ClassNotFoundException("a request's type");
    return new JdkExchanges(exchange);
  }

  /** The type of that name among those that this one is of; null when it is none. */
  static Class<?> find(Class<?> type, String name) {
    if (type == null || type.getName().equals(name))
      return type;
    for (Class<?> each : type.getInterfaces()) {
      Class<?> found = find(each, name);
      if (found != null)
        return found;
    }
    return find(type.getSuperclass(), name);
  }

  static Object call(Method method, Object target, Object... arguments) {
    try {
      return method.invoke(target, arguments);
    } catch (ReflectiveOperationException failure) {
      throw new IllegalStateException(failure);
    }
  }

  /** Whether the request comes here for the first time, and is none that a container makes of another. */
  abstract boolean isFirst(Object exchange);

  /** Whether a request that left its thread open comes back, and no other one by the same object. */
  abstract boolean isResumed(Object exchange);

  /** Tells where the request goes, once the container knows. */
  abstract void describe(Object exchange, TracedRequest request);

  /** Whether the request goes on when the thread that brought it has left. */
  abstract boolean isOpen(Object exchange);

  /** Has the action run when an open request ends; called by the thread that brings it. */
  abstract void whenEnded(Object exchange, Runnable action);

  /** The response may be null where the exchange has it itself. */
  abstract int status(Object exchange, Object response);
}
