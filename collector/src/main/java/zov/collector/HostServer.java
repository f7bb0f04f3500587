package zov.collector;

import java.util.HashMap;
import java.util.Hashtable;
import java.util.List;
import java.util.Map;
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
      Map<String, Object> values = attributes(server, name, "requestCount", "processingTime", "maxTime");
      Number begun = (Number) values.get("requestCount");
      long millis = ((Number) values.get("processingTime")).longValue();
      long longest = ((Number) values.get("maxTime")).longValue();
      if (millis < 0 || longest < 0 || servletName(name).isEmpty())
        return null;
      Long running = running(wrapper(server, name));
      return new ServletCounters(begun.longValue(), begun instanceof Integer,
          running == null ? Interval.UNKNOWN : running, millis, longest);
    } catch (RuntimeException unreadable) {
      return null;
    }
  }

  /** The attributes of these that the MBean tells; none when it has gone. */
  static Map<String, Object> attributes(MBeanServer server, ObjectName name, String... wanted) {
    Map<String, Object> values = new HashMap<>();
    try {
      for (Attribute attribute : server.getAttributes(name, wanted).asList())
        values.put(attribute.getName(), attribute.getValue());
    } catch (JMException | RuntimeException unreadable) {
      return Map.of();
    }
    return values;
  }

  /** Requests that are in the servlet of this {@link #wrapper} now; null when it does not tell. */
  static Long running(Object wrapper) {
    try {
      return ((Number) wrapper.getClass().getMethod("getCountAllocated").invoke(wrapper)).longValue();
    } catch (ReflectiveOperationException | RuntimeException notTold) {
      return null;
    }
  }

  /** 1 when the servlet of this {@link #wrapper} is loaded, else 0; null when it does not tell. */
  static Long isLoaded(Object wrapper) {
    try {
      return wrapper.getClass().getMethod("getServlet").invoke(wrapper) == null ? 0L : 1L;
    } catch (ReflectiveOperationException | RuntimeException notTold) {
      return null;
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

  static String servletName(ObjectName name) { return key(name, "name"); }

  /** "//localhost/shop" is "shop", "//example.test/shop" is "example.test/shop", the root is "ROOT". */
  static String applicationName(String webModule) {
    String host = hostName(webModule);
    return Names.application(host, webModule.replaceFirst("^//", "").substring(host.length()));
  }

  /** "//example.test/shop" is of the host "example.test". */
  static String hostName(String webModule) {
    return webModule.replaceFirst("^//", "").replaceFirst("/.*", "");
  }

  /** A part of the name, without its quotes; empty when it has none such. */
  static String key(ObjectName name, String key) { return unquoted(name.getKeyProperty(key)); }

  private static String unquoted(String keyProperty) {
    if (keyProperty == null)
      return "";
    return keyProperty.startsWith("\"") ? ObjectName.unquote(keyProperty) : keyProperty;
  }

  static ObjectName pattern(String text) {
    try {
      return new ObjectName(text);
    } catch (MalformedObjectNameException impossible) {
      throw new IllegalArgumentException(impossible);
    }
  }
}
