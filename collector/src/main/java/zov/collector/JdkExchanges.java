package zov.collector;

import java.lang.reflect.Method;
import java.net.URI;

/** Exchanges of the JDK's HTTP server (module jdk.httpserver). It has no applications: all are the root. */
final class JdkExchanges extends Exchanges {
  private static final int NOT_BEGUN = -1;

  private final Method uri;
  private final Method status;

  JdkExchanges(Class<?> exchange) throws ReflectiveOperationException {
    uri = exchange.getMethod("getRequestURI");
    status = exchange.getMethod("getResponseCode");
  }

  @Override
  boolean isFirst(Object exchange) {
    return true;
  }

  @Override
  boolean isResumed(Object exchange) {
    return true;
  }

  @Override
  void describe(Object exchange, TracedRequest request) {
    request.application = Names.ROOT;
    request.name = ((URI) call(uri, exchange)).getPath();
  }

  @Override
  boolean isOpen(Object exchange) {
    return status(exchange, null) == NOT_BEGUN;
  }

  /** The woven code tells the end. */
  @Override
  void whenEnded(Object exchange, Runnable action) {}

  @Override
  int status(Object exchange, Object response) {
    return (Integer) call(status, exchange);
  }
}
