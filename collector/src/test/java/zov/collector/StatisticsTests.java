package zov.collector;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
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
              "tpool_name=http-1\nsummary=0\n~activeThreads=3\n~poolSize=10\n~freePoolSize=7\n~percentMaxed=100\n"
                  + "configuredMaxSize=3\n"},
          {"type=ThreadPool,name=virtual", Map.of("currentThreadsBusy", -1, "currentThreadCount", -2), ""},
          {"type=queuedthreadpool,id=0", Map.of("busyThreads", 1, "threads", 8, "maxThreads", 200),
              "tpool_name=queuedthreadpool-0\nsummary=0\n~activeThreads=1\n~poolSize=8\n~freePoolSize=7\n~percentMaxed=0\n"
                  + "configuredMaxSize=200\n"},
          {"type=Manager,host=localhost,context=/shop",
              Map.of("sessionCounter", 9L, "expiredSessions", 4L, "rejectedSessions", 0, "activeSessions", 5),
              "appl_name=shop\nsummary=0\n~liveSessions=5\ncreatedSessions=9\ninvalidatedSessions=4\nnoRoomForNewSession=0\n"},
          {"j2eeType=Servlet,WebModule=//example.test/,name=a=b\n",
              Map.of("requestCount", Integer.MIN_VALUE, "errorCount", 1, "processingTime", 5L, "servletClass",
                  "x.JspServlet"),
              "appl_name=example.test\nsvlt_name=a:b \nvhost_name=example.test\nis_jsp=1\n"
                  + "totalRequests=2147483648\nnumErrors=1\nresource\n"
                  + "appl_name=example.test\nvhost_name=example.test\nsummary=0\ntotalRequests=2147483648\nnumErrors=1\n"},
          {"type=DataSource,context=/,host=localhost,name=\"jdbc/a\",connectionpool=connections",
              Map.of("CreatedCount", 4L, "BorrowedCount", 70L, "NumActive", 2, "NumIdle", 1, "MaxTotal", 8,
                  "NumWaiters", 0, "password", "tiger"),
              "dbname=ROOT:jdbc/a\nsummary=0\n~concurrentWaiters=0\n~poolSize=3\n~percentUsed=25\n~percentMaxed=0\n"
                  + "numCreates=4\nnumAllocates=70\nconnectionPoolConfiguredMaxSize=8\n"},
          {"name=x,connectionpool=connections,connection=1", Map.of("CreatedCount", 4L), ""},
          {"type=ConnectionPool,name=\"jdbc/b\"",
              Map.of("ReleasedCount", 1L, "Active", 2, "Idle", 0, "MaxActive", -1, "WaitCount", 6),
              "dbname=jdbc/b\nsummary=0\n~concurrentWaiters=6\n~poolSize=2\nnumDestroys=1\n"},
      };
      for (Object[] one : cases) {
        MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
        String name = ((String) one[0]).replace("a=b\n", "\"a=b\\n\"");
        server.registerMBean(new Bean(attributes((Map<?, ?>) one[1])), new ObjectName("Test:" + name));
        Check.equal(one[2], texts());
        MBeanServerFactory.releaseMBeanServer(server);
      }
    });

    Check.test("the statistics JVM calls back, answers, and ends with its agent and with its server", () -> {
      try (JvmTests.Place place = new JvmTests.Place(); FakeAgent agent = new FakeAgent();
           FakeAgent contact = new FakeAgent(); FakeAgent second = new FakeAgent()) {
        ProcessHandle child;
        try (JvmTests.Host host =
                 new JvmTests.Host(place, List.of("-Xmx64m"), "name=shop,agent=127.0.0.1:" + agent.port())) {
          child = callBack(agent.welcome(), contact);
          Check.equal(host.pid(), child.parent().orElseThrow().pid() + "");
          String commandLine = Files.readString(Path.of("/proc/" + child.pid() + "/cmdline"));
          Check.holds(commandLine.contains("Xmx16m") && !commandLine.contains(TOKEN + ""), commandLine);
          String variables = Files.readString(Path.of("/proc/" + child.pid() + "/environ"));
          Check.holds(variables.replaceAll("(LANG|LC_[A-Z]+)=[^\\x00]*\\x00", "").isEmpty(), variables);

          Check.equal("1 140", answer(contact, 35, 1, ""));
          Check.equal("1 7", answer(contact, 22, 0, Hex.number(4, PID)));
          Check.equal("2 1", answer(contact, 22, 0, Hex.number(4, Long.parseLong(host.pid()))));
          Check.equal("2 0", answer(contact, 35, 1, ""));
          Check.equal("1 165", answer(contact, 26, 1, Hex.text(1376, "ab")));
          Check.equal("2 0", answer(contact, 26, 1, Hex.text(1376, "|")));
          Check.equal("2 0", answer(contact, 30, 1, Hex.text(5, "shop")));
          Check.equal("1 165", answer(contact, 27, 1, ""));
          Check.equal("1 7", answer(contact, 24, 1, Hex.text(5, "other")));
          Check.holds(answer(contact, 23, 1, "")
                          .matches("(?s)0 instanceName=shop\nprocessId=" + host.pid()
                              + "\nverboseGCFileName=\\Q" + GcWatch.PLACE + "\\E\nstartTime=[0-9]+\n;"),
              "a description");
          String all = answer(contact, 24, 1, Hex.text(5, "shop"));
          Check.holds(
              all.matches(
                  "(?s)1 freeMemory=[0-9]+\n.*;73 tpool_name=JVM\nsummary=1\npoolSize=[0-9]+/1\nthread.*;"),
              all);
          String pool = Hex.number(1377, 15) + Hex.text(1371, "JVM|x");
          Check.holds(
              answer(contact, 33, 1, pool).matches("(?s)73 tpool_name=JVM\nsummary=1\npoolSize=[0-9]+/2\n.*"),
              all);
          Check.equal("", answer(contact, 33, 1, Hex.number(1377, 15) + Hex.text(1371, "none")));

          ProcessHandle next = callBack(agent, second);
          child.onExit().get();
          second.hangUp();
          next.onExit().get();
          child = callBack(agent, contact);
        }
        child.onExit().get();
      }
    });

    Check.test("a statistics JVM that is silent is ended, and none is started where it is not wanted", () -> {
      AtomicLong nanos = new AtomicLong();
      StatisticsJvm jvm = new StatisticsJvm(Options.parse("name=x"), PID, CollectorLog.none(), nanos::get);
      try (FakeAgent contact = new FakeAgent()) {
        Check.equal("", jvm.start(contact.port(), TOKEN));
        ProcessHandle child = ProcessHandle.of(contact.welcome().lastPing().number(4)).orElseThrow();
        jvm.check();
        Check.equal("2 1", answer(contact, 22, 0, Hex.number(4, PID)));
        nanos.addAndGet(StatisticsJvm.SILENT_NANOS);
        jvm.check();
        child.onExit().get();
      }
      Options off = Options.parse("name=x,statistics=off");
      String reason = new StatisticsJvm(off, PID, CollectorLog.none(), nanos::get).start(1, TOKEN);
      Check.holds(reason.contains("option"), reason);
    });
  }

  /** The statistics JVM that the collector starts when it is asked to. */
  private static ProcessHandle callBack(FakeAgent agent, FakeAgent contact) throws Exception {
    Message answer =
        agent.send(Hex.request(42, Hex.number(13, 5), Hex.number(3, contact.port()), Hex.number(1400, TOKEN)))
            .message();
    Check.equal("2 0 5", answer.number(14) + " " + answer.number(15) + " " + answer.number(13));
    Message ping = contact.welcome().lastPing();
    Check.equal("2 " + TOKEN, ping.number(1340) + " " + ping.number(1341));
    return ProcessHandle.of(ping.number(4)).orElseThrow();
  }

  /** Status and value of an answer; or, of one with samples, their types and texts. */
  private static String answer(FakeAgent contact, int request, long client, String fields) throws Exception {
    contact.send(Hex.request(request, Hex.number(13, 70 + request), Hex.number(1370, client), fields));
    StringBuilder texts = new StringBuilder();
    while (true) {
      Message message = contact.message();
      Check.equal(70L + request, message.number(13));
      if (message.isSample(SampleTypes.END))
        return texts.toString();
      if (message.dataType == Message.REQUEST)
        return message.number(14) + " " + message.number(15);
      texts.append(message.number(1372)).append(' ').append(message.text(1371)).append(';');
    }
  }

  private static Map<String, Object> attributes(Map<?, ?> given) {
    Map<String, Object> attributes = new HashMap<>();
    given.forEach((name, value) -> attributes.put((String) name, value));
    return attributes;
  }

  /** All that is told of servers, the JVM's own rows apart. */
  private static String texts() throws Exception {
    List<String> texts = new ArrayList<>();
    new Readings(new Budget(() -> 0), Readings.ALL, new String[0], figures -> {
      if (figures.type != SampleTypes.APPLICATION_SERVER && !figures.names.contains("JVM"))
        texts.add(figures.text());
    }).run();
    return String.join("resource\n", texts);
  }
}
