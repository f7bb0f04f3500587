package zov.collector;

import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicLong;
import javax.management.MBeanServer;
import javax.management.MBeanServerFactory;
import javax.management.ObjectName;

/** What is read of a server, and the JVM that tells it. */
final class StatisticsTests {
  private static final long PID = ProcessHandle.current().pid();
  private static final long TOKEN = 7_654_321;

  private StatisticsTests() {}

  static void run() {
    Check.test("each kind of MBean has its text, without what is not known", () -> {
      Object[][] cases = {
          {"type=ThreadPool,name=\"http-1\"",
              Map.of("currentThreadsBusy", 3, "currentThreadCount", 10, "maxThreads", 3),
              "tpool_name=http-1\n~activeThreads=3\n~poolSize=10\n~freePoolSize=7\n~percentMaxed=100\n"
                  + "configuredMaxSize=3\n"},
          {"type=ThreadPool,name=virtual", Map.of("currentThreadsBusy", -1, "currentThreadCount", -2), ""},
          {"type=queuedthreadpool,id=0", Map.of("busyThreads", 1, "threads", 8, "maxThreads", 200),
              "tpool_name=queuedthreadpool-0\n~activeThreads=1\n~poolSize=8\n~freePoolSize=7\n~percentMaxed=0\n"
                  + "configuredMaxSize=200\n"},
          {"type=Manager,host=localhost,context=/shop",
              Map.of("sessionCounter", 9L, "expiredSessions", 4L, "rejectedSessions", 0, "activeSessions", 5),
              "appl_name=shop\n~liveSessions=5\ncreatedSessions=9\ninvalidatedSessions=4\nnoRoomForNewSession=0\n"},
          {"j2eeType=Servlet,WebModule=//example.test/,name=a=b\n",
              Map.of("requestCount", Integer.MIN_VALUE, "errorCount", 1, "processingTime", 5L, "servletClass",
                  "x.JspServlet"),
              "appl_name=example.test\nsvlt_name=a:b \nvhost_name=example.test\nis_jsp=1\n"
                  + "totalRequests=2147483648\nnumErrors=1\nresource\n"
                  + "appl_name=example.test\nvhost_name=example.test\ntotalRequests=2147483648\nnumErrors=1\n"},
          {"type=DataSource,context=/,host=localhost,name=\"jdbc/a\",connectionpool=connections",
              Map.of("CreatedCount", 4L, "BorrowedCount", 70L, "NumActive", 2, "NumIdle", 1, "MaxTotal", 8,
                  "NumWaiters", 0, "password", "tiger"),
              "dbname=ROOT:jdbc/a\n~concurrentWaiters=0\n~poolSize=3\n~percentUsed=25\n~percentMaxed=0\n"
                  + "numCreates=4\nnumAllocates=70\nconnectionPoolConfiguredMaxSize=8\n"},
          {"name=x,connectionpool=connections,connection=1", Map.of("CreatedCount", 4L), ""},
          {"type=ConnectionPool,name=\"jdbc/b\"",
              Map.of("ReleasedCount", 1L, "Active", 2, "Idle", 0, "MaxActive", -1, "WaitCount", 6),
              "dbname=jdbc/b\n~concurrentWaiters=6\n~poolSize=2\nnumDestroys=1\n"},
      };
      for (Object[] one : cases) {
        MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
        String name = ((String) one[0]).replace("a=b\n", "\"a=b\\n\"");
        server.registerMBean(new Bean(attributes((Map<?, ?>) one[1])), new ObjectName("Test:" + name));
        Check.equal(one[2], texts(SampleTypes.APPLICATION_SERVER, "JVM"));
        MBeanServerFactory.releaseMBeanServer(server);
      }
    });
  }

  private static Map<String, Object> attributes(Map<?, ?> given) {
    Map<String, Object> attributes = new java.util.HashMap<>();
    given.forEach((name, value) -> attributes.put((String) name, value));
    return attributes;
  }

  /** All that is told of servers, the JVM's own rows apart. */
  private static String texts(int unwantedType, String unwantedName) throws Exception {
    List<String> texts = new ArrayList<>();
    new Readings(new Budget(() -> 0), Readings.ALL, new String[0], figures -> {
      if (figures.type != unwantedType && !figures.names.contains(unwantedName))
        texts.add(figures.text());
    }).run();
    return String.join("resource\n", texts);
  }
}
