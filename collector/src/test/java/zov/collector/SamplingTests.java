package zov.collector;

import java.io.IOException;
import java.net.Socket;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.concurrent.FutureTask;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.LongSupplier;
import java.util.function.UnaryOperator;
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
    hostServer();
    slowPoll();
  }

  private static void properties() {
    Check.test("properties go out once, again when they change, and only those that are allowed", () -> {
      Map<String, String> properties = new HashMap<>(Map.of(
          "os.name", "#1", "os.arch", "", "java.home", "/jdk", "db.url", "x", "sun.java.command", "x"));
      Map<String, String> environment = new HashMap<>(Map.of("TZ", "UTC"));
      for (String secret : List.of("DATABASE_URL", "PGPASS", "ENCRYPTION_KEY", "AUTH", "JAVA_OPTS", "ANY"))
        environment.put(secret, "tiger");
      PropertySampler sampler = new PropertySampler(PID, properties::get, environment::get);
      Samples samples = new Samples();
      sampler.sample(samples);
      Check.equal(
          List.of(Hex.sample(41, Hex.number(833, PID), Hex.text(870, "java.home"), Hex.text(871, "/jdk")),
              Hex.sample(41, Hex.number(833, PID), Hex.text(870, "os.arch")),
              Hex.sample(41, Hex.number(833, PID), Hex.text(870, "os.name"), Hex.text(871, "##1")),
              Hex.sample(55, Hex.number(833, PID), Hex.text(870, "TZ"), Hex.text(871, "UTC"))),
          samples.take());
      properties.put("os.arch", "x".repeat(PropertySampler.MOST_CHARACTERS + 1));
      sampler.sample(samples);
      String cut = "x".repeat(PropertySampler.MOST_CHARACTERS) + "...";
      Check.equal(List.of(Hex.sample(41, Hex.number(833, PID), Hex.text(870, "os.arch"), Hex.text(871, cut))),
          samples.take());
    });

    Check.test("secrets inside of values stay at home", () -> {
      String[][] cases = {{"shop", "shop"}, {":", ":"}, {"", ""},
          {"/lib/a@1.jar:/lib/b.jar", "/lib/a@1.jar:/lib/b.jar"},
          {"Main -Ddb.password=tiger -Dport=1", "Main -Ddb.password=******** -Dport=1"},
          {"jdbc:x?user=u&token=a=b;ssl=on", "jdbc:x?user=u&token=********;ssl=on"},
          {"PGPASS=x AUTH=y a=ENCRYPTION_KEY=z", "PGPASS=******** AUTH=******** a=ENCRYPTION_KEY=********"},
          {"db postgres://u:tiger@db/shop", "db postgres:********@db/shop"},
          {"jdbc:oracle:thin:scott/tiger@//db/x?pwd=1", "jdbc:********@//db/x?pwd=********"},
          {"x://u:tiger@h/secret=b", "x:********@h/secret=********"}};
      for (String[] one : cases) Check.equal(one[1], Masking.withoutSecrets(one[0]));
    });

    Check.test("the cost of masking is linear in the length", () -> {
      for (String part :
          List.of("/usr/share/java/pass-key.jar:", "x", "=", "pass=", "pass", "@", ":", ",", "//")) {
        long small = costOfMasking(part, 69_000);
        long large = costOfMasking(part, 4 * 69_000);
        Check.holds(
            large <= 4.1 * small, part + " costs " + small + " and " + large + " looks at a character");
      }
    });
  }

  /** How often a character of a long text is looked at; prints the time too, for who wants to know. */
  private static long costOfMasking(String part, int length) {
    long[] looks = {0};
    Masking.withoutSecrets(new Counting(part.repeat(length / part.length()), looks));
    long begun = System.nanoTime();
    Masking.withoutSecrets(part.repeat(length / part.length()));
    System.out.printf(Locale.ROOT, "          %,9d characters of %-30s %.1f looks each, %.2f ms%n", length,
        "\"" + part + "\"", looks[0] / (double) length, (System.nanoTime() - begun) / 1e6);
    return looks[0];
  }

  private static final class Counting implements CharSequence {
    private static final long MOST_LOOKS = 20;

    private final CharSequence text;
    private final long[] looks;

    Counting(CharSequence text, long[] looks) {
      this.text = text;
      this.looks = looks;
    }

    @Override
    public char charAt(int index) {
      if (++looks[0] > MOST_LOOKS * length())
        throw new AssertionError("more than " + MOST_LOOKS + " looks at each of " + length() + " characters");
      return text.charAt(index);
    }

    @Override
    public int length() {
      return text.length();
    }

    @Override
    public CharSequence subSequence(int start, int end) {
      return new Counting(text.subSequence(start, end), looks);
    }
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

  private static void hostServer() {
    Check.test("the host's MBeans are read, and those that fail are left out", () -> {
      Check.equal("", HostServer.version());
      Check.equal(false, HostServer.isThere());
      MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
      server.registerMBean(new Bean(Map.of("requestCount", 3)), new ObjectName(PAGE + "2"));
      server.registerMBean(Bean.servlet(3L, -1, 7), new ObjectName(PAGE + "3"));
      Check.equal(false, HostServer.isThere());
      for (ObjectName name : HostServer.servlets(server)) Check.equal(null, HostServer.read(server, name));
      server.registerMBean(Bean.servlet(3, 20, 7), new ObjectName(PAGE));
      Check.equal(true, HostServer.isThere());
      server.unregisterMBean(new ObjectName(PAGE));
      server.registerMBean(new Bean(Map.of("serverInfo", "Example Server/10.1.60 (Example)")),
          new ObjectName("Test:type=Server"));
      Check.equal("10.1.60", HostServer.version());
      Check.equal(true, HostServer.isThere());
      MBeanServerFactory.releaseMBeanServer(server);
    });

    Check.test("applications have short names", () -> {
      String[][] cases = {{"//localhost/shop", "shop"}, {"//localhost/", "ROOT"}, {"//localhost", "ROOT"},
          {"//localhost/a/b##2", "a/b##2"}, {"//example.test/shop", "example.test/shop"},
          {"//localhostess/x", "localhostess/x"}, {"\"//localhost/a,b\"", "a,b"}};
      for (String[] one : cases)
        Check.equal(one[1],
            HostServer.applicationName(
                HostServer.key(new ObjectName("Test:name=x,WebModule=" + one[0]), "WebModule")));
      Check.equal(
          "ROOT", HostServer.applicationName(HostServer.key(new ObjectName("Test:name=x"), "WebModule")));
      Check.equal("a,b", HostServer.servletName(new ObjectName("Test:name=\"a,b\"")));
    });
  }

  /** A session of the given samplers with an agent that has just asked for requests. */
  private interface Conversation {
    void with(FakeAgent agent) throws Exception;
  }

  private static void converse(UnaryOperator<String> properties, LongSupplier nanoTime,
      LongSupplier usedNanos, int requests, Conversation conversation) throws Exception {
    RequestCounting counting = RequestTests.untraced(nanoTime);
    try (FakeAgent agent = new FakeAgent(); Socket socket = agent.connect();
         Connection connection = new Connection(socket, nanoTime)) {
      agent.accept();
      Session session = new Session(connection, PID, new PropertySampler(PID, properties, name -> null),
          new RequestSampler(PID, counting, () -> 0),
          new GcSampler(PID, new GcLedger(() -> null, nanoTime), () -> 0, nanoTime), new Budget(usedNanos),
          new ServerSearch(() -> true, nanoTime),
          new StatisticsJvm(Options.parse("name=x"), PID, CollectorLog.none(), nanoTime),
          CollectorLog.none());
      FutureTask<Void> work = new FutureTask<>(() -> serve(session, requests + 1), null);
      new Thread(work).start();
      agent.send(Hex.request(8, Hex.number(13, 1), Hex.number(659, 0x300))).receive();
      conversation.with(agent);
      work.get();
    } finally {
      counting.stop();
    }
  }

  private static void slowPoll() {
    Check.test("a slow poll pings in the middle, and a broken source still ends it", () -> {
      AtomicLong nanos = new AtomicLong();
      UnaryOperator<String> slow = name -> {
        if (nanos.addAndGet(10_000_000_000L) > 20_000_000_000L)
          throw new IllegalStateException("broken");
        return null;
      };
      converse(slow, nanos::get, () -> 0, 1, agent -> {
        agent.send(Hex.request(2, Hex.number(13, 2), Hex.number(1, 0x100000)));
        Check.equal(Hex.request(1, Hex.number(13, 1), Hex.number(4, PID)), agent.receive());
        agent.send(Hex.request(5, Hex.number(13, 1), Hex.number(14, 2)));
        Check.equal(Hex.sample(998, Hex.number(13, 2)), agent.receive());
      });
    });

    Check.test("a poll ends when its processor time is over, and the next ones bring the rest", () -> {
      AtomicLong used = new AtomicLong();
      Runnable dear = () -> used.addAndGet(Budget.NANOS / 10);
      UnaryOperator<String> properties = name -> {
        dear.run();
        return "x";
      };
      converse(
          properties, () -> 0, used::get, 6, agent -> pollInParts(agent, 6, AllowedNames.PROPERTIES.size()));

      MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
      List<Bean> beans = new ArrayList<>();
      for (int i = 0; i < 30; i++) {
        beans.add(Bean.servlet(0, 0, 0));
        server.registerMBean(beans.get(i), new ObjectName(PAGE + i));
      }
      AtomicLong nanos = new AtomicLong();
      converse(name -> null, nanos::incrementAndGet, used::get, 6, agent -> {
        for (Bean bean : beans) bean.counters(2, 5, 5).whenRead(dear);
        pollInParts(agent, 6, beans.size());
      });
      MBeanServerFactory.releaseMBeanServer(server);
    });
  }

  /**
   * Polls so often; so many different things must have been told then, each once, and never all in one poll.
   */
  private static void pollInParts(FakeAgent agent, int polls, int expected) throws IOException {
    List<String> told = new ArrayList<>();
    for (int poll = 0; poll < polls; poll++) {
      int before = told.size();
      agent.send(Hex.request(2, Hex.number(13, poll), Hex.number(1, 0x100000)));
      for (Message sample = agent.message(); sample.subtype != 998; sample = agent.message())
        told.add(sample.text(870) + sample.text(702));
      Check.holds(told.size() <= before + 11, told.size() - before + " samples in a poll");
    }
    Check.equal(expected, told.size());
    Check.equal(expected, new HashSet<>(told).size());
  }

  private static void serve(Session session, int requests) {
    try {
      for (int i = 0; i < requests; i++) session.serveOne();
    } catch (IOException failure) {
      throw new AssertionError(failure);
    }
  }
}
