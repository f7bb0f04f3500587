package zov.collector;

import java.lang.reflect.InvocationHandler;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.security.AccessController;
import java.security.PrivilegedAction;

/** Requests of the servlet API, by the types of one container's copy of it. */
final class ServletExchanges extends Exchanges {
  private final Method dispatcherType;
  private final Method contextPath;
  private final Method servletContext;
  /** Null before version 3.1 of the API, which does not tell it. */
  private final Method virtualServer;
  private final Method uri;
  private final Method servletPath;
  private final Method pathInfo;
  private final Method isAsyncStarted;
  /**
   * Null in most containers: where a request comes back for a dispatch, and its dispatcher type tells so
   * later.
   */
  private final Method isAsync;
  private final Method asyncContext;
  private final Method status;
  private final Method addListener;
  private final Method eventContext;
  private final Class<?> listener;
  /** By context: containers work their names out anew each time. */
  private final WeakIdentityMap<String> applications = new WeakIdentityMap<>();

  ServletExchanges(Class<?> type, Class<?> request, String api) throws ReflectiveOperationException {
    ClassLoader loader = request.getClassLoader();
    dispatcherType = request.getMethod("getDispatcherType");
    servletContext = request.getMethod("getServletContext");
    contextPath = servletContext.getReturnType().getMethod("getContextPath");
    virtualServer = optional(servletContext.getReturnType(), "getVirtualServerName");
    uri = request.getMethod("getRequestURI");
    servletPath = request.getMethod("getServletPath");
    pathInfo = request.getMethod("getPathInfo");
    isAsyncStarted = request.getMethod("isAsyncStarted");
    isAsync =
        type.getName().equals("org.apache.catalina.connector.Request") ? type.getMethod("isAsync") : null;
    asyncContext = request.getMethod("getAsyncContext");
    status = Class.forName(api + "http.HttpServletResponse", false, loader).getMethod("getStatus");
    listener = Class.forName(api + "AsyncListener", false, loader);
    addListener = asyncContext.getReturnType().getMethod("addListener", listener);
    eventContext = Class.forName(api + "AsyncEvent", false, loader).getMethod("getAsyncContext");
  }

  private static Method optional(Class<?> type, String name) {
    try {
      return type.getMethod(name);
    } catch (NoSuchMethodException older) {
      return null;
    }
  }

  @Override
  boolean isFirst(Object exchange) {
    return call(dispatcherType, exchange).toString().equals("REQUEST");
  }

  @Override
  boolean isResumed(Object exchange) {
    return !isFirst(exchange) || isOpen(exchange) || (isAsync != null && (Boolean) call(isAsync, exchange));
  }

  @Override
  void describe(Object exchange, TracedRequest request) {
    Object context = contextOf(exchange);
    if (context == null) {
      request.name = (String) call(uri, exchange);
      return;
    }
    request.application = applicationOf(context);
    String info = (String) call(pathInfo, exchange);
    String path = call(servletPath, exchange) + (info == null ? "" : info);
    request.name = path.isEmpty() ? "/" : path;
  }

  /** Null before the container knows, and when the request goes to none: some throw then. */
  private Object contextOf(Object exchange) {
    try {
      return call(servletContext, exchange);
    } catch (IllegalStateException none) {
      return null;
    }
  }

  private String applicationOf(Object context) {
    String known = applications.get(context);
    if (known == null) {
      known = applicationName(context);
      applications.put(context, known);
    }
    return known;
  }

  /** The host's name is behind that of the server: "Catalina/localhost". */
  private String applicationName(Object context) {
    String server = virtualServer == null ? "null" : String.valueOf(call(virtualServer, context));
    String host = server.equals("null") ? "localhost" : server.substring(server.lastIndexOf('/') + 1);
    return Names.application(host, (String) call(contextPath, context));
  }

  @Override
  boolean isOpen(Object exchange) {
    return (Boolean) call(isAsyncStarted, exchange);
  }

  @Override
  void whenEnded(Object exchange, Runnable action) {
    InvocationHandler handler = (proxy, method, arguments) -> {
      switch (method.getName()) {
        case "equals":
          return proxy == arguments[0];
        case "hashCode":
          return System.identityHashCode(proxy);
        case "toString":
          return "zov-collector";
        default:
          told(method.getName(), arguments[0], proxy, action);
          return null;
      }
    };
    Object added = AccessController.doPrivileged(
        (PrivilegedAction<Object>) ()
            -> Proxy.newProxyInstance(listener.getClassLoader(), new Class<?>[] {listener}, handler));
    call(addListener, call(asyncContext, exchange), added);
  }

  /** Called by the container, which gets no exception of ours. */
  private void told(String what, Object event, Object listening, Runnable action) {
    try {
      if (what.equals("onComplete"))
        action.run();
      if (what.equals("onStartAsync")) // which has dropped all listeners
        call(addListener, call(eventContext, event), listening);
    } catch (Throwable failure) {
      // The host comes first.
    }
  }

  @Override
  int status(Object exchange, Object response) {
    return (Integer) call(status, response);
  }
}
