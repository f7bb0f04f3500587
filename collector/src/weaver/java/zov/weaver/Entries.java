package zov.weaver;

import java.util.HashMap;
import java.util.Map;

/**
 * Where requests come in: the first things that containers do with a request once they know where it goes,
 * and the servlets themselves, for containers that are not known here. Of those that one request passes the
 * tracer counts the outermost.
 */
final class Entries implements Points {
  private static final String JETTY_HANDLING =
      "(Ljava/lang/String;Lorg/eclipse/jetty/server/Request;L%1$s/servlet/http/HttpServletRequest;"
      + "L%1$s/servlet/http/HttpServletResponse;)V";

  /** By class, then by name and descriptor of the method. */
  private final Map<String, Map<String, Advice>> points = new HashMap<>();

  Entries() {
    add("org/apache/catalina/core/StandardEngineValve",
        "invoke(Lorg/apache/catalina/connector/Request;Lorg/apache/catalina/connector/Response;)V",
        Advice.entry(0, 1));
    for (String api : new String[] {"jakarta", "javax"}) {
      String handling = String.format(JETTY_HANDLING, api);
      add("org/eclipse/jetty/server/handler/HandlerWrapper", "handle" + handling, Advice.entry(1, 3));
      add("org/eclipse/jetty/servlet/ServletHandler", "doHandle" + handling, Advice.entry(1, 3));
      add(api + "/servlet/http/HttpServlet",
          "service(L" + api + "/servlet/ServletRequest;L" + api + "/servlet/ServletResponse;)V",
          Advice.entry(0, 1));
    }
    add("com/sun/net/httpserver/Filter$Chain", "doFilter(Lcom/sun/net/httpserver/HttpExchange;)V",
        Advice.entry(0, Advice.NONE));
    for (String exchange : new String[] {"HttpExchangeImpl", "HttpsExchangeImpl"}) {
      for (String answer : new String[] {"sendResponseHeaders(IJ)V", "close()V"})
        add("sun/net/httpserver/" + exchange, answer, Advice.end(Advice.THIS));
    }
  }

  private void add(String className, String method, Advice advice) {
    points.computeIfAbsent(className, unseen -> new HashMap<>()).put(method, advice);
  }

  @Override
  public boolean mayHave(String className, byte[] classFile) {
    return points.containsKey(className);
  }

  @Override
  public boolean mayHave(Class<?> loaded) {
    return points.containsKey(loaded.getName().replace('.', '/'));
  }

  @Override
  public Advice advice(String className, String[] interfaces, int access, String method, String descriptor) {
    return points.getOrDefault(className, Map.of()).get(method + descriptor);
  }
}
