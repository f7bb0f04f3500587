package zov.collector;

import java.io.IOException;
import java.net.Socket;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.FutureTask;
import java.util.concurrent.atomic.AtomicLong;
import javax.management.Attribute;
import javax.management.AttributeList;
import javax.management.DynamicMBean;
import javax.management.MBeanInfo;
import javax.management.MBeanServer;
import javax.management.MBeanServerFactory;
import javax.management.ObjectName;

/** What the polls of a session carry. */
final class SamplingTests {
  private static final int PID = 4711;
  private static final String PAGE = "Test:j2eeType=Servlet,WebModule=//localhost/shop,name=order";

  private SamplingTests() {}

  static void run() {
    properties();
    abbreviations();
    requests();
    hostServer();
    slowPoll();
  }

  private static final class Samples implements SampleSink {
    private final List<Message> all = new ArrayList<>();

    @Override
    public void send(Message sample) {
      all.add(sample);
    }

    @Override
    public void progress() {}

    /** Those since the last call, in hexadecimal. */
    List<String> take() {
      List<String> taken = new ArrayList<>();
      for (Message sample : all) taken.add(Hex.of(sample.toFrame()).substring(8));
      all.clear();
      return taken;
    }
  }

  private static void properties() {
    Check.test("properties go out once, and again when they change", () -> {
      Map<String, String> properties = new TreeMap<>(Map.of("a", "1", "b", ""));
      Map<String, String> environment = new TreeMap<>(Map.of("#h", "##", "DB_PASSWORD", "tiger"));
      PropertySampler sampler = new PropertySampler(PID, () -> properties, () -> environment);
      Samples samples = new Samples();
      sampler.sample(samples);
      Check.equal(
          List.of(Hex.sample(41, Hex.number(833, PID), Hex.text(870, "a"), Hex.text(871, "1")),
              Hex.sample(41, Hex.number(833, PID), Hex.text(870, "b")),
              Hex.sample(55, Hex.number(833, PID), Hex.text(870, "##h"), Hex.text(871, "###")),
              Hex.sample(55, Hex.number(833, PID), Hex.text(870, "DB_PASSWORD"), Hex.text(871, "********"))),
          samples.take());
      properties.put("b", "2");
      sampler.sample(samples);
      Check.equal(List.of(Hex.sample(41, Hex.number(833, PID), Hex.text(870, "b"), Hex.text(871, "2"))),
          samples.take());
    });

    Check.test("secrets stay at home", () -> {
      String[][] cases = {{"javax.net.ssl.keyStorePassword", "x", "********"},
          {"AWS_SECRET_ACCESS_KEY", "x", "********"}, {"api.key", "x", "********"},
          {"user.name", "shop", "shop"}, {"path.separator", ":", ":"},
          {"sun.java.command", "Main -Ddb.password=tiger -Dport=1", "Main -Ddb.password=******** -Dport=1"},
          {"url", "jdbc:x?user=u&token=abc;ssl=on", "jdbc:x?user=u&token=********;ssl=on"}};
      for (String[] one : cases) Check.equal(one[2], PropertySampler.withoutSecrets(one[0], one[1]));
    });
  }

  private static void abbreviations() {
    Check.test("a long name is told once, and one that looks like a short form never goes as it is", () -> {
      String longName = "n".repeat(Abbreviations.LONGEST_PLAIN_NAME + 1);
      Abbreviations abbreviations = new Abbreviations(PID);
      Samples samples = new Samples();
      String[][] cases = {{"", ""}, {"order", "order"}, {longName, "#1"}, {"#7", "#2"}, {longName, "#1"}};
      for (String[] one : cases) Check.equal(one[1], abbreviations.shorten(one[0], samples));
      Check.equal(List.of(Hex.sample(59, Hex.number(4, PID), Hex.text(1020, longName), Hex.text(1021, "#1")),
                      Hex.sample(59, Hex.number(4, PID), Hex.text(1020, "#7"), Hex.text(1021, "#2"))),
          samples.take());
      for (int i = 2; i < Abbreviations.MOST_NAMES; i++) abbreviations.shorten("#x" + i, samples);
      Check.equal("##late", abbreviations.shorten("#late", samples));
      Check.equal("#1", abbreviations.shorten(longName, samples));
    });
  }

  private static ServletCounters counters(long count, long total, long longest) {
    return new ServletCounters("shop", "order", count, total, longest);
  }

  private static void requests() {
    Check.test("a request sample is the difference between two polls", () -> {
      ObjectName page = new ObjectName(PAGE);
      Map<ObjectName, ServletCounters> present = new HashMap<>();
      AtomicLong nanos = new AtomicLong(5);
      RequestSampler sampler =
          new RequestSampler(PID, progress -> new HashMap<>(present), () -> 1_700_000_000_999L, nanos::get);
      Samples samples = new Samples();
      present.put(page, counters(10, 100, 40));
      sampler.sample(samples);
      Check.equal(List.of(), samples.take());
      sampler.start();

      Object[][] polls = {
          // milliseconds since the last poll, counters then; count, total, longest, seconds told
          {5499, counters(13, 130, 40), 3, 30, -1, 5},
          {5500, counters(14, 200, 70), 1, 70, 70, 6},
          {200, counters(16, 200, 70), 2, 0, 0, 1},
          {0, counters(17, 200, 70), 1, 0, 0, 1},
          {1000, counters(17, 260, 70), 0, 0, 0, 0},
          {1000, counters(18, 290, 70), 1, 90, -1, 1},
          {1000, counters(0, 0, 0), 0, 0, 0, 0},
          {1000, counters(2, 9, 8), 2, 9, 8, 1},
          {1000, null, 0, 0, 0, 0},
          {1000, counters(1, 4, 4), 1, 4, 4, 1},
      };
      for (Object[] poll : polls) {
        int millis = (Integer) poll[0];
        nanos.addAndGet(millis * 1_000_000L);
        present.remove(page);
        if (poll[1] != null)
          present.put(page, (ServletCounters) poll[1]);
        sampler.start();
        sampler.sample(samples);
        int longest = (Integer) poll[4];
        String expected = Hex.sample(31, Hex.number(20, 1_700_000_000), Hex.number(21, (Integer) poll[5]),
            Hex.number(314, Math.max(1, millis)), Hex.number(700, 1), Hex.number(703, (Integer) poll[2]),
            Hex.number(704, (Integer) poll[3]), longest < 0 ? "" : Hex.number(705, longest),
            Hex.number(4, PID), Hex.text(701, "shop"), Hex.text(702, "order"));
        Check.equal(poll[2].equals(0) ? List.of() : List.of(expected), samples.take());
      }

      sampler.stop();
      present.put(page, counters(50, 50, 50));
      sampler.start();
      present.put(page, counters(51, 50, 50));
      sampler.sample(samples);
      Check.holds(samples.take().toString().contains(Hex.number(703, 1)), "requests while it was off");
    });
  }

  /** An MBean with the attributes that it is given. */
  private static final class Bean implements DynamicMBean {
    private final Map<String, Object> attributes;

    Bean(Map<String, Object> attributes) { this.attributes = attributes; }

    @Override
    public Object getAttribute(String name) {
      return attributes.get(name);
    }

    @Override
    public AttributeList getAttributes(String[] names) {
      AttributeList list = new AttributeList();
      for (String name : names) {
        if (attributes.containsKey(name))
          list.add(new Attribute(name, attributes.get(name)));
      }
      return list;
    }

    @Override
    public MBeanInfo getMBeanInfo() {
      return new MBeanInfo(Bean.class.getName(), null, null, null, null, null);
    }

    @Override
    public void setAttribute(Attribute attribute) {}

    @Override
    public AttributeList setAttributes(AttributeList list) {
      return list;
    }

    @Override
    public Object invoke(String action, Object[] arguments, String[] signature) {
      return null;
    }
  }

  private static void hostServer() {
    Check.test("the host's MBeans are read, and those that fail are left out", () -> {
      Check.equal("", HostServer.version());
      Check.equal(Map.of(), HostServer.readServlets(() -> {}));
      MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
      Map<String, Object> order = Map.of("requestCount", 3, "processingTime", 20L, "maxTime", 7L);
      server.registerMBean(new Bean(order), new ObjectName(PAGE));
      server.registerMBean(new Bean(order), new ObjectName("Test:j2eeType=Servlet,name=\"a,b\""));
      server.registerMBean(new Bean(Map.of("requestCount", 3)), new ObjectName(PAGE + "2"));
      server.registerMBean(new Bean(Map.of("requestCount", "3", "processingTime", 20L, "maxTime", 7L)),
          new ObjectName(PAGE + "3"));
      server.registerMBean(new Bean(Map.of("serverInfo", "Example Server/10.1.60 (Example)")),
          new ObjectName("Test:type=Server"));
      Map<String, String> read = new TreeMap<>();
      int[] steps = {0};
      for (ServletCounters page : HostServer.readServlets(() -> steps[0]++).values()) {
        read.put(page.application + "/" + page.servlet,
            page.count + " " + page.totalMillis + " " + page.longestMillis);
      }
      Check.equal(Map.of("shop/order", "3 20 7", "ROOT/a,b", "3 20 7"), read);
      Check.equal(4, steps[0]);
      Check.equal("10.1.60", HostServer.version());
      MBeanServerFactory.releaseMBeanServer(server);
    });

    Check.test("applications have short names", () -> {
      String[][] cases = {{"//localhost/shop", "shop"}, {"//localhost/", "ROOT"}, {"//localhost", "ROOT"},
          {"//localhost/a/b##2", "a/b##2"}, {"//example.test/shop", "example.test/shop"},
          {"//localhostess/x", "localhostess/x"}, {null, "ROOT"}};
      for (String[] one : cases) Check.equal(one[1], HostServer.applicationName(one[0]));
    });
  }

  private static void slowPoll() {
    Check.test("a slow poll pings in the middle, and a broken source still ends it", () -> {
      AtomicLong nanos = new AtomicLong();
      RequestSampler.Source slow = progress -> {
        progress.step();
        nanos.addAndGet(20_000_000_000L);
        progress.step();
        if (nanos.get() > 20_000_000_000L)
          throw new IllegalStateException("broken");
        return new LinkedHashMap<>();
      };
      try (FakeAgent agent = new FakeAgent(); Socket socket = agent.connect();
           Connection connection = new Connection(socket, nanos::get)) {
        agent.accept();
        Session session = new Session(connection, PID, new PropertySampler(PID, Map::of, Map::of),
            new RequestSampler(PID, slow, () -> 0, nanos::get), CollectorLog.to(""));
        FutureTask<Void> work = new FutureTask<>(() -> serve(session, 2), null);
        new Thread(work).start();
        agent.send(Hex.request(8, Hex.number(13, 1), Hex.number(659, 0x300))).receive();
        agent.send(Hex.request(2, Hex.number(13, 2), Hex.number(1, 0x100000)));
        Check.equal(Hex.request(1, Hex.number(13, 1), Hex.number(4, PID)), agent.receive());
        agent.send(Hex.request(5, Hex.number(13, 1), Hex.number(14, 2)));
        Check.equal(Hex.sample(998, Hex.number(13, 2)), agent.receive());
        work.get();
      }
    });
  }

  private static void serve(Session session, int requests) {
    try {
      for (int i = 0; i < requests; i++) session.serveOne();
    } catch (IOException failure) {
      throw new AssertionError(failure);
    }
  }
}
