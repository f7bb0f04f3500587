package zov.collector;

import java.io.IOException;
import java.util.LinkedHashMap;
import java.util.Map;
import javax.management.Attribute;
import javax.management.JMException;
import javax.management.MBeanServer;
import javax.management.MBeanServerFactory;
import javax.management.MalformedObjectNameException;
import javax.management.ObjectName;

/**
 * The application server of this JVM, as its MBeans show it. It looks only into the MBean servers that the
 * host has made, and makes none: to make one early would decide for the host which it gets. What cannot be
 * read is left out.
 */
final class HostServer {
  private static final String[] COUNTERS = {"requestCount", "processingTime", "maxTime"};

  private HostServer() {}

  /** The servlets and JSPs with their counters at this moment. */
  static Map<ObjectName, ServletCounters> readServlets(Progress progress) throws IOException {
    Map<ObjectName, ServletCounters> servlets = new LinkedHashMap<>();
    for (MBeanServer server : MBeanServerFactory.findMBeanServer(null)) {
      for (ObjectName name : server.queryNames(pattern("*:j2eeType=Servlet,*"), null)) {
        ServletCounters counters = readCounters(server, name);
        if (counters != null)
          servlets.putIfAbsent(name, counters);
        progress.step();
      }
    }
    return servlets;
  }

  /** The server's version, as "10.1.60"; empty while no server is there that tells it. */
  static String version() {
    for (MBeanServer server : MBeanServerFactory.findMBeanServer(null)) {
      for (ObjectName name : server.queryNames(pattern("*:type=Server"), null)) {
        try {
          String info = String.valueOf(server.getAttribute(name, "serverInfo"));
          return info.substring(info.lastIndexOf('/') + 1).split(" ")[0];
        } catch (JMException | RuntimeException notThatServer) {
          continue;
        }
      }
    }
    return "";
  }

  private static ServletCounters readCounters(MBeanServer server, ObjectName name) {
    try {
      long[] values = {-1, -1, -1};
      for (Attribute attribute : server.getAttributes(name, COUNTERS).asList()) {
        for (int i = 0; i < COUNTERS.length; i++) {
          if (attribute.getName().equals(COUNTERS[i]))
            values[i] = ((Number) attribute.getValue()).longValue();
        }
      }
      String servlet = unquoted(name.getKeyProperty("name"));
      if (values[0] < 0 || values[1] < 0 || values[2] < 0 || servlet.isEmpty())
        return null;
      return new ServletCounters(
          applicationName(name.getKeyProperty("WebModule")), servlet, values[0], values[1], values[2]);
    } catch (JMException | RuntimeException unreadable) {
      return null;
    }
  }

  /** "//localhost/shop" is "shop", "//example.test/shop" is "example.test/shop", the root is "ROOT". */
  static String applicationName(String webModule) {
    if (webModule == null)
      return "ROOT";
    String name = unquoted(webModule).replaceFirst("^//(localhost(/|$))?", "");
    return name.replaceFirst("/$", "").isEmpty() ? "ROOT" : name.replaceFirst("/$", "");
  }

  private static String unquoted(String keyProperty) {
    if (keyProperty == null)
      return "";
    return keyProperty.startsWith("\"") ? ObjectName.unquote(keyProperty) : keyProperty;
  }

  private static ObjectName pattern(String text) {
    try {
      return new ObjectName(text);
    } catch (MalformedObjectNameException impossible) {
      throw new IllegalArgumentException(impossible);
    }
  }
}
