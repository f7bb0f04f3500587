package zov.collector;

import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.util.LinkedHashMap;
import java.util.Map;
import javax.management.MBeanServer;
import javax.management.ObjectName;

/** What the server of this JVM counts, as its MBeans show it ({@link Source}), and the JVM's threads. */
final class ServerFigures {
  /** The name under which all threads of the JVM stand beside the pools. */
  static final String ALL_THREADS = "JVM";
  /** The server has one row for all of its caches. */
  private static final String ALL_CACHES = "Ehcache";
  private static final String JSP_CLASS = ".JspServlet";

  private final Readings readings;
  private final MBeanServer server;

  private ServerFigures(Readings readings, MBeanServer server) {
    this.readings = readings;
    this.server = server;
  }

  /** Servlets come last, as of many there may not be the time for all. */
  static void read(Readings readings) throws IOException {
    readings.tell(allThreads());
    for (MBeanServer server : HostServer.mbeanServers()) {
      ServerFigures figures = new ServerFigures(readings, server);
      if (readings.wants(SampleTypes.THREAD_POOL))
        figures.threadPools();
      if (readings.wants(SampleTypes.SERVLET_SESSIONS))
        figures.sessions();
      if (readings.wants(SampleTypes.DB_CONNECTION))
        figures.connectionPools();
      if (readings.wants(SampleTypes.CACHE) || readings.wants(SampleTypes.CACHE_TEMPLATE))
        figures.caches();
    }
    for (MBeanServer server : HostServer.mbeanServers()) {
      if (readings.wants(SampleTypes.SERVLET) || readings.wants(SampleTypes.WEB_APPLICATION))
        new ServerFigures(readings, server).servlets();
    }
  }

  /** The attributes of one MBean. */
  private static final class Values {
    private final Map<String, Object> values;

    Values(Map<String, Object> values) { this.values = values; }

    /** Null when the server does not tell it. */
    Long number(String attribute) {
      Object value = values.get(attribute);
      return value instanceof Number ? Long.valueOf(((Number) value).longValue()) : null;
    }

    /** A count of 32 bits goes on from below zero. */
    Long count(String attribute) {
      Object value = values.get(attribute);
      return value instanceof Integer ? Long.valueOf(Integer.toUnsignedLong((Integer) value))
                                      : number(attribute);
    }

    String text(String attribute) { return String.valueOf(values.get(attribute)); }
  }

  private interface Telling {
    void tell(ObjectName name, Values values) throws IOException;
  }

  private void each(Source source, Telling telling) throws IOException {
    for (ObjectName name : source.names(server)) {
      if (isConnection(name))
        continue;
      readings.progress();
      telling.tell(name, new Values(source.read(server, name)));
    }
  }

  /** Pools have an MBean for each connection, under their own name and more. */
  private static boolean isConnection(ObjectName name) {
    return name.getKeyProperty("connection") != null || name.getKeyProperty("connections") != null;
  }

  // --- Threads.

  private static Figures allThreads() {
    ThreadMXBean threads = ManagementFactory.getThreadMXBean();
    long live = threads.getThreadCount();
    long started = Math.max(live, threads.getTotalStartedThreadCount());
    return new Figures(SampleTypes.THREAD_POOL)
        .name("tpool_name", ALL_THREADS)
        .summary()
        .load("poolSize", live)
        .count("threadCreates", started)
        .count("threadDestroys", started - live);
  }

  private void threadPools() throws IOException {
    each(Source.EXECUTOR,
        (name, values)
            -> readings.tell(threadPool(HostServer.key(name, "name"), values.number("activeCount"),
                values.number("poolSize"), values.number("maxThreads"))));
    each(Source.CONNECTOR, (name, values) -> {
      Long most = values.number("maxThreads");
      // Below zero, the threads are those of an executor, which stands for itself.
      if (most == null || most >= 0 || Source.EXECUTOR.names(server).isEmpty())
        readings.tell(threadPool(HostServer.key(name, "name"), values.number("currentThreadsBusy"),
            values.number("currentThreadCount"), most));
    });
    each(Source.JETTY_POOL,
        (name, values)
            -> readings.tell(threadPool("queuedthreadpool-" + HostServer.key(name, "id"),
                values.number("busyThreads"), values.number("threads"), values.number("maxThreads"))));
  }

  private static Figures threadPool(String name, Long busy, Long size, Long most) {
    return new Figures(SampleTypes.THREAD_POOL)
        .name("tpool_name", name)
        .detail()
        .load("activeThreads", busy)
        .load("poolSize", size)
        .load("freePoolSize", difference(size, busy))
        .load("percentMaxed", maxed(busy, most))
        .count("configuredMaxSize", most);
  }

  // --- Web applications.

  /** Sums over the servlets of one application, which are unknown when one of them is. */
  private static final class Application {
    final String host;
    private Long requests = 0L;
    private Long errors = 0L;
    private Long millis = 0L;
    private Long running = 0L;
    private Long loaded = 0L;

    Application(String host) { this.host = host; }

    void add(Long count, Long failed, Long time, Long inside, Long isLoaded) {
      requests = sum(requests, count);
      errors = sum(errors, failed);
      millis = sum(millis, time);
      running = sum(running, inside);
      loaded = sum(loaded, isLoaded);
    }

    Figures figures(String name) {
      return requestFigures(
          new Figures(SampleTypes.WEB_APPLICATION).name("appl_name", name).name("vhost_name", host).detail(),
          requests, errors, millis, running)
          .count("numLoadedServlets", loaded);
    }
  }

  private void servlets() throws IOException {
    Map<String, Application> applications = new LinkedHashMap<>();
    each(Source.SERVLET, (name, values) -> {
      String application = HostServer.applicationName(HostServer.key(name, "WebModule"));
      String host = HostServer.hostName(HostServer.key(name, "WebModule"));
      Object wrapper = HostServer.wrapper(server, name);
      Long requests = values.count("requestCount");
      if (requests == null)
        return; // no server that is known here
      Long errors = values.count("errorCount");
      Long millis = values.number("processingTime");
      Long running = HostServer.running(wrapper);
      applications.computeIfAbsent(application, unseen -> new Application(host))
          .add(requests, errors, millis, running, HostServer.isLoaded(wrapper));
      Figures figures = new Figures(SampleTypes.SERVLET)
                            .name("appl_name", application)
                            .name("svlt_name", HostServer.servletName(name))
                            .name("vhost_name", host)
                            .count("is_jsp", values.text("servletClass").endsWith(JSP_CLASS) ? 1L : 0L);
      readings.tell(requestFigures(figures, requests, errors, millis, running));
    });
    for (Map.Entry<String, Application> one : applications.entrySet())
      readings.tell(one.getValue().figures(one.getKey()));
  }

  /** A request counts when it begins, and its time when it ends. */
  private static Figures requestFigures(
      Figures figures, Long requests, Long errors, Long millis, Long running) {
    return figures.count("totalRequests", requests)
        .count("numErrors", errors)
        .load("concurrentRequests", running)
        .mean("responseTime", millis, difference(requests, running));
  }

  private void sessions() throws IOException {
    each(Source.SESSIONS,
        (name, values)
            -> readings.tell(new Figures(SampleTypes.SERVLET_SESSIONS)
                                 .name("appl_name", HostServer.applicationName(module(name)))
                                 .detail()
                                 .count("createdSessions", values.count("sessionCounter"))
                                 .count("invalidatedSessions", values.count("expiredSessions"))
                                 .count("noRoomForNewSession", values.count("rejectedSessions"))
                                 .load("liveSessions", values.number("activeSessions"))));
  }

  private static String module(ObjectName name) {
    return "//" + HostServer.key(name, "host") + HostServer.key(name, "context");
  }

  // --- Connections to databases.

  private void connectionPools() throws IOException {
    each(Source.DBCP_POOL,
        (name, values)
            -> tellPool(name, values, "DestroyedCount", "NumWaiters", "NumActive", "NumIdle", "MaxTotal"));
    each(Source.JDBC_POOL,
        (name,
            values) -> tellPool(name, values, "ReleasedCount", "WaitCount", "Active", "Idle", "MaxActive"));
  }

  private void tellPool(ObjectName name, Values values, String destroyed, String waiting, String busy,
      String idle, String most) throws IOException {
    Long used = values.number(busy);
    Long limit = values.number(most);
    boolean limited = limit != null && limit > 0;
    readings.tell(
        new Figures(SampleTypes.DB_CONNECTION)
            .name("dbname", poolName(name))
            .detail()
            .count("numCreates", values.number("CreatedCount"))
            .count("numDestroys", values.number(destroyed))
            .count("numAllocates", values.number("BorrowedCount"))
            .count("numReturns", values.number("ReturnedCount"))
            .load("concurrentWaiters", values.number(waiting))
            .load("poolSize", sum(used, values.number(idle)))
            .load("percentUsed", limited && Figures.isKnown(used) ? Long.valueOf(100 * used / limit) : null)
            .load("percentMaxed", maxed(used, limit))
            .count("connectionPoolConfiguredMaxSize", limited ? limit : null));
  }

  /** "jdbc/orders"; that of one application has the application in front: "shop:jdbc/orders". */
  private static String poolName(ObjectName name) {
    String own = HostServer.key(name, "name");
    if (own.isEmpty())
      own = name.getCanonicalKeyPropertyListString();
    return name.getKeyProperty("context") == null ? own
                                                  : HostServer.applicationName(module(name)) + ":" + own;
  }

  // --- Caches.

  private void caches() throws IOException {
    Long[] inMemory = {null};
    each(Source.CACHE, (name, values) -> {
      Long hits = values.number("CacheHits");
      Long misses = values.number("CacheMisses");
      // A cache that does not count says 0, too.
      boolean counts = hits != null && misses != null && hits + misses > 0;
      readings.tell(new Figures(SampleTypes.CACHE_TEMPLATE)
                        .name("templ_name", HostServer.key(name, "name"))
                        .detail()
                        .count("hitsInMemory", counts ? values.number("InMemoryHits") : null)
                        .count("hitsOnDisk", counts ? values.number("OnDiskHits") : null)
                        .count("misses", counts ? misses : null)
                        .count("requestsFromClient", counts ? Long.valueOf(hits + misses) : null)
                        .count("entries", values.number("ObjectCount")));
      Long entries = values.number("MemoryStoreObjectCount");
      inMemory[0] = inMemory[0] == null ? entries : sum(inMemory[0], entries);
    });
    if (inMemory[0] == null)
      return;
    Long[] most = {0L};
    each(Source.CACHE_SETTINGS, (name, values) -> {
      Long limit = values.number("MaxEntriesLocalHeap");
      most[0] = sum(most[0], limit == null || limit == 0 ? null : limit); // 0 is no limit
    });
    readings.tell(new Figures(SampleTypes.CACHE)
                      .name("cont_name", ALL_CACHES)
                      .count("inMemoryCacheSize", inMemory[0])
                      .count("maxInMemoryCacheSize", most[0]));
  }

  // --- Numbers, of which an unknown one makes the outcome unknown.

  private static Long sum(Long one, Long other) {
    return Figures.isKnown(one) && Figures.isKnown(other) ? Long.valueOf(one + other) : null;
  }

  private static Long difference(Long whole, Long part) {
    return Figures.isKnown(whole) && Figures.isKnown(part) ? Long.valueOf(Math.max(0, whole - part)) : null;
  }

  /** 100 while all of a limited number are in use. */
  private static Long maxed(Long used, Long limit) {
    if (!Figures.isKnown(used) || limit == null || limit <= 0)
      return null;
    return used >= limit ? 100L : 0L;
  }
}
