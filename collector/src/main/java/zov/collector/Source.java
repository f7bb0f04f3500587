package zov.collector;

import java.util.List;
import java.util.Map;
import java.util.Set;
import javax.management.MBeanServer;
import javax.management.ObjectName;

/**
 * The kinds of MBeans whose figures the statistics tell, and the attributes of them that are read: these and
 * no others, since pools have passwords and addresses among theirs. docs/collector.md lists them; a test
 * compares.
 */
enum Source {
  CONNECTOR("*:type=ThreadPool,name=*", "currentThreadsBusy", "currentThreadCount", "maxThreads"),
  EXECUTOR("*:type=Executor,name=*", "activeCount", "poolSize", "maxThreads"),
  JETTY_POOL("*:type=queuedthreadpool,*", "busyThreads", "threads", "maxThreads"),
  SERVLET("*:j2eeType=Servlet,*", "requestCount", "errorCount", "processingTime", "servletClass"),
  SESSIONS("*:type=Manager,context=*,*", "sessionCounter", "expiredSessions", "rejectedSessions",
      "activeSessions"),
  DBCP_POOL("*:connectionpool=connections,*", "CreatedCount", "DestroyedCount", "BorrowedCount",
      "ReturnedCount", "NumWaiters", "NumActive", "NumIdle", "MaxTotal"),
  JDBC_POOL("*:type=ConnectionPool,*", "CreatedCount", "ReleasedCount", "BorrowedCount", "ReturnedCount",
      "WaitCount", "Active", "Idle", "MaxActive"),
  CACHE("net.sf.ehcache:type=CacheStatistics,*", "InMemoryHits", "OnDiskHits", "CacheHits", "CacheMisses",
      "ObjectCount", "MemoryStoreObjectCount"),
  CACHE_SETTINGS("net.sf.ehcache:type=CacheConfiguration,*", "MaxEntriesLocalHeap");

  final String pattern;
  final List<String> attributes;
  private final ObjectName names;

  Source(String pattern, String... attributes) {
    this.pattern = pattern;
    this.attributes = List.of(attributes);
    names = HostServer.pattern(pattern);
  }

  Set<ObjectName> names(MBeanServer server) { return server.queryNames(names, null); }

  /** What the MBean tells of its attributes; none when it has gone. */
  Map<String, Object> read(MBeanServer server, ObjectName name) {
    return HostServer.attributes(server, name, attributes.toArray(new String[0]));
  }
}
