package zov.collector;

import java.util.Hashtable;
import java.util.List;
import java.util.Set;
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
  private static final ObjectName SERVLETS = pattern("*:j2eeType=Servlet,*");
  private static final ObjectName SERVER = pattern("*:type=Server");

  private HostServer() {}

  static List<MBeanServer> mbeanServers() { return MBeanServerFactory.findMBeanServer(null); }

  /** The names of the servlets and JSPs. */
  static Set<ObjectName> servlets(MBeanServer server) { return server.queryNames(SERVLETS, null); }

  static boolean isServlet(ObjectName name) { return SERVLETS.apply(name); }

  /** Whether this JVM runs a server that is known here. */
  static boolean isThere() {
    for (MBeanServer server : mbeanServers()) {
      for (ObjectName name : servlets(server)) {
        if (read(server, name) != null)
          return true;
      }
    }
    return !version().isEmpty();
  }

  /** The server's version, as "10.1.60"; empty while no server is there that tells it. */
  static String version() {
    for (MBeanServer server : mbeanServers()) {
      for (ObjectName name : server.queryNames(SERVER, null)) {
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

  /** The counters of a servlet or JSP at this moment; null when they cannot be read. */
  static ServletCounters read(MBeanServer server, ObjectName name) {
    try {
      Number[] values = new Number[COUNTERS.length];
      for (Attribute attribute : server.getAttributes(name, COUNTERS).asList()) {
        for (int i = 0; i < COUNTERS.length; i++) {
          if (attribute.getName().equals(COUNTERS[i]))
            values[i] = (Number) attribute.getValue();
        }
      }
      if (values[1].longValue() < 0 || values[2].longValue() < 0 || servletName(name).isEmpty())
        return null;
      return new ServletCounters(values[0].longValue(), values[0] instanceof Integer, running(server, name),
          values[1].longValue(), values[2].longValue());
    } catch (JMException | RuntimeException unreadable) {
      return null;
    }
  }

  /** Requests that are in the servlet now. */
  private static long running(MBeanServer server, ObjectName servlet) {
    try {
      Object wrapper = wrapper(server, servlet);
      return ((Number) wrapper.getClass().getMethod("getCountAllocated").invoke(wrapper)).longValue();
    } catch (ReflectiveOperationException | RuntimeException notTold) {
      return Interval.UNKNOWN;
    }
  }

  /**
   * The server's object of a servlet, which knows more than its MBean: what runs, and when it stops. It is
   * found by way of the application's MBean; null when it is not.
   */
  static Object wrapper(MBeanServer server, ObjectName servlet) {
    try {
      Hashtable<String, String> keys = new Hashtable<>(servlet.getKeyPropertyList());
      keys.put("j2eeType", "WebModule");
      keys.put("name", keys.remove("WebModule"));
      Object context = server.getAttribute(new ObjectName(servlet.getDomain(), keys), "managedResource");
      return context.getClass().getMethod("findChild", String.class).invoke(context, servletName(servlet));
    } catch (JMException | ReflectiveOperationException | RuntimeException notThere) {
      return null;
    }
  }

  static String servletName(ObjectName name) { return unquoted(name.getKeyProperty("name")); }

  /** "//localhost/shop" is "shop", "//example.test/shop" is "example.test/shop", the root is "ROOT". */
  static String applicationName(ObjectName servlet) {
    String name = unquoted(servlet.getKeyProperty("WebModule")).replaceFirst("^//(localhost(/|$))?", "");
    name = name.replaceFirst("/$", "");
    return name.isEmpty() ? "ROOT" : name;
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
