package zov.collector;

import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.LongSupplier;
import javax.management.MBeanServer;
import javax.management.ObjectName;

/**
 * Keeps what each servlet and JSP has done and the agent has not been told. It lasts longer than a session,
 * so that an agent which comes back is told what happened meanwhile.
 *
 * A servlet that is stopped, as by a reload, is read once more before its counters go ({@link ServletWatch}).
 * That happens on a thread of the host's; so the lock, this object, is held for additions only, and never
 * while an MBean is read or anything is sent.
 */
final class RequestLedger {
  /** Further servlets are not told of. */
  static final int MOST_ACCOUNTS = 10_000;

  /** One servlet or JSP. Its fields are guarded by the ledger, the names apart. */
  static final class Account {
    final String application;
    final String servlet;
    private final MBeanServer server;
    private final ObjectName name;
    private ServletCounters last = ServletCounters.ZERO;
    private Interval untold = Interval.NONE;
    private long since;
    private long lastReading;

    private Account(MBeanServer server, ObjectName name, long since) {
      this.server = server;
      this.name = name;
      this.since = since;
      application = HostServer.applicationName(HostServer.key(name, "WebModule"));
      servlet = HostServer.servletName(name);
    }
  }

  private final LongSupplier nanoTime;
  private volatile ServletWatch watch;
  private final Map<ObjectName, Account> accounts = new LinkedHashMap<>();
  private long nextReading = 1;
  private long newcomersSince;
  private boolean running;

  RequestLedger(LongSupplier nanoTime) { this.nanoTime = nanoTime; }

  /** Counting begins now; when it runs already, it goes on. */
  void start() {
    synchronized (this) {
      if (running)
        return;
      running = true;
      newcomersSince = nanoTime.getAsLong();
      watch = new ServletWatch(this);
    }
    for (MBeanServer server : HostServer.mbeanServers()) {
      for (ObjectName name : HostServer.servlets(server)) {
        Account account = account(server, name);
        long reading = nextReading();
        ServletCounters counters = account == null ? null : HostServer.read(server, name);
        if (counters != null)
          begin(account, reading, counters);
      }
      watch.add(server);
    }
  }

  /** Counting ends, and nothing is kept, in the host neither. */
  void stop() {
    synchronized (this) {
      running = false;
      accounts.clear();
    }
    if (watch != null)
      watch.clear();
  }

  synchronized boolean isRunning() { return running; }

  /**
   * All servlets of now and those of before that have something to tell; who has waited longest comes first.
   */
  List<Account> accounts() {
    Set<Account> present = new HashSet<>();
    List<MBeanServer> servers = HostServer.mbeanServers();
    watch.keep(servers);
    for (MBeanServer server : servers) {
      watch.add(server);
      for (ObjectName name : HostServer.servlets(server)) {
        Account account = account(server, name);
        if (account != null)
          present.add(account);
      }
    }
    synchronized (this) {
      newcomersSince = nanoTime.getAsLong();
      accounts.values().removeIf(account -> !present.contains(account) && account.untold.count == 0);
      List<Account> all = new ArrayList<>(accounts.values());
      all.sort(Comparator.comparingLong(account -> account.since));
      return all;
    }
  }

  /** Reads the servlet, if it is still there, and adds what is new. */
  void read(Account account) {
    long reading = nextReading();
    ServletCounters counters = HostServer.read(account.server, account.name);
    if (counters != null)
      add(account, reading, counters);
  }

  /** Nanoseconds since the account was last taken, or counting began. */
  synchronized long age(Account account) { return nanoTime.getAsLong() - account.since; }

  /** What is to be told of the account, which is then taken as told; its next interval begins. */
  synchronized Interval take(Account account) {
    Interval taken = account.untold;
    account.untold = Interval.NONE;
    account.since = nanoTime.getAsLong();
    return taken;
  }

  /** The servlet's counters are about to go, or may be. */
  void lastReading(MBeanServer server, ObjectName name) {
    Account account = isRunning() ? account(server, name) : null;
    if (account != null)
      read(account);
  }

  /** The servlet has gone; the next of its name counts from zero. */
  synchronized void gone(ObjectName name) {
    Account account = accounts.get(name);
    if (account == null)
      return;
    account.last = ServletCounters.ZERO;
    account.lastReading = nextReading++;
  }

  private synchronized long nextReading() { return nextReading++; }

  private synchronized Account account(MBeanServer server, ObjectName name) {
    Account account = accounts.get(name);
    if (account == null && running && accounts.size() < MOST_ACCOUNTS) {
      account = new Account(server, name, newcomersSince);
      accounts.put(name, account);
    }
    return account;
  }

  private synchronized void begin(Account account, long reading, ServletCounters counters) {
    if (reading < account.lastReading)
      return;
    account.lastReading = reading;
    account.last = counters;
  }

  /** Of two readings that overlap, the one that was begun first may come last, and is dropped then. */
  private synchronized void add(Account account, long reading, ServletCounters counters) {
    if (reading < account.lastReading)
      return;
    account.lastReading = reading;
    Interval interval = counters.since(account.last);
    if (interval.count == 0 && counters.continues(account.last))
      return;
    account.untold = account.untold.plus(interval);
    account.last = counters;
  }
}
