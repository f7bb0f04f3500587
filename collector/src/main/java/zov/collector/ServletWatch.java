package zov.collector;

import java.security.AccessController;
import java.security.PrivilegedAction;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import javax.management.JMException;
import javax.management.MBeanServer;
import javax.management.MBeanServerDelegate;
import javax.management.MBeanServerNotification;
import javax.management.Notification;
import javax.management.NotificationEmitter;
import javax.management.NotificationListener;
import javax.management.ObjectName;

/**
 * Tells the ledger when servlets have gone, as the host's MBean servers announce it, and when they stop, as
 * the servlets themselves do (their MBeans do not).
 *
 * The announcements come on threads of the host's: nothing is thrown into these, and nothing waits there.
 */
final class ServletWatch {
  private static final String STOPPED = "j2ee.state.stopped";

  private final RequestLedger ledger;
  private final Map<MBeanServer, Set<ObjectName>> watched = new ConcurrentHashMap<>();
  private final NotificationListener ofServers = this::serverTells;
  private final NotificationListener ofServlets = this::servletTells;

  private static final class Place {
    final MBeanServer server;
    final ObjectName name;

    Place(MBeanServer server, ObjectName name) {
      this.server = server;
      this.name = name;
    }
  }

  ServletWatch(RequestLedger ledger) { this.ledger = ledger; }

  /**
   * Watches the servlets of a server, present and to come; a server that is watched already is left as it
   * is.
   */
  void add(MBeanServer server) {
    if (watched.putIfAbsent(server, ConcurrentHashMap.newKeySet()) != null)
      return;
    try {
      server.addNotificationListener(MBeanServerDelegate.DELEGATE_NAME, ofServers, null, server);
    } catch (JMException | RuntimeException silentServer) {
      return;
    }
    for (ObjectName name : HostServer.servlets(server)) addServlet(server, name);
  }

  /** Lets go of servers that the host has given up. */
  void keep(List<MBeanServer> servers) { watched.keySet().retainAll(servers); }

  /** Takes all listeners out of the host. */
  void clear() {
    watched.forEach((server, servlets) -> {
      for (ObjectName name : servlets) removeServlet(server, name);
      try {
        server.removeNotificationListener(MBeanServerDelegate.DELEGATE_NAME, ofServers);
      } catch (JMException | RuntimeException notListening) {
        // So there is nothing to take out.
      }
    });
    watched.clear();
  }

  private void serverTells(Notification notification, Object server) {
    safely(() -> {
      ObjectName name = ((MBeanServerNotification) notification).getMBeanName();
      Set<ObjectName> servlets = watched.get(server);
      if (servlets == null || !HostServer.isServlet(name))
        return;
      if (notification.getType().equals(MBeanServerNotification.REGISTRATION_NOTIFICATION)) {
        addServlet((MBeanServer) server, name);
        return;
      }
      servlets.remove(name);
      ledger.gone(name);
    });
  }

  private void servletTells(Notification notification, Object place) {
    if (notification.getType().equals(STOPPED))
      safely(() -> ledger.lastReading(((Place) place).server, ((Place) place).name));
  }

  private void addServlet(MBeanServer server, ObjectName name) {
    Set<ObjectName> servlets = watched.get(server);
    if (servlets == null || !servlets.add(name))
      return;
    Object wrapper = HostServer.wrapper(server, name);
    if (wrapper instanceof NotificationEmitter)
      ((NotificationEmitter) wrapper).addNotificationListener(ofServlets, null, new Place(server, name));
  }

  private void removeServlet(MBeanServer server, ObjectName name) {
    Object wrapper = HostServer.wrapper(server, name);
    try {
      if (wrapper instanceof NotificationEmitter)
        ((NotificationEmitter) wrapper).removeNotificationListener(ofServlets);
    } catch (JMException notListening) {
      // So there is nothing to take out.
    }
  }

  /** With the collector's own rights, since those of the code below on the host's stack may be fewer. */
  private static void safely(Runnable action) {
    try {
      AccessController.doPrivileged((PrivilegedAction<Void>) () -> {
        action.run();
        return null;
      });
    } catch (Throwable failure) {
      // The host comes first.
    }
  }
}
