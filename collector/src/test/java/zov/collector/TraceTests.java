package zov.collector;

import com.sun.net.httpserver.Filter;
import java.io.Closeable;
import java.io.IOException;
import java.io.InputStream;
import java.lang.instrument.ClassFileTransformer;
import java.net.ServerSocket;
import java.net.Socket;
import java.net.SocketTimeoutException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.function.Consumer;

/** Requests that are traced in a real JVM, which serves them by the JDK's own server. */
final class TraceTests {
  private static final int LEVEL_ONE = 0x300;

  private TraceTests() {}

  static void run() {
    Check.test("traced requests count once, when they have ended, however they do", () -> {
      try (Traced traced = new Traced()) {
        traced.collect(LEVEL_ONE);
        for (String page : List.of("/work", "/later", "/throws")) traced.get(page, 1); // which loads classes
        traced.poll(3);
        traced.get("/work", 5);
        traced.get("/later", 4);
        traced.get("/throws", 3);
        traced.get("/items/4711?x=secret", 2);
        traced.get("/never", 1);
        Map<String, long[]> rows = traced.poll(14);
        Check.equal("[/items/{id}, /later, /throws, /work]", rows.keySet().toString());
        Object[][] cases = {
            {"/work", 5L, 100L}, {"/later", 4L, 80L}, {"/throws", 3L, 0L}, {"/items/{id}", 2L, 0L}};
        for (Object[] one : cases) {
          long[] row = rows.get(one[0]);
          Check.equal(one[1], row[0]);
          long over = row[1] - (Long) one[2];
          Check.holds(over >= 0 && over < 100, one[0] + " takes " + over + " ms more");
          Check.holds((row[2] + 1) * row[0] >= row[1], one[0] + " has a longest of " + row[2]);
        }

        traced.collect(0);
        traced.get("/work", 5);
        traced.collect(LEVEL_ONE);
        traced.get("/work", 2);
        Check.equal(2L, traced.poll(2).get("/work")[0]);
        Check.equal(true, traced.poll(0).isEmpty());
      }
    });

    Check.test("a JVM that cannot be woven, or may not, leaves requests to the server's MBeans", () -> {
      String[][] cases = {{"-Djava.io.tmpdir=/nowhere", ""}, {"-Dx=y", ",trace=off"}};
      for (String[] one : cases) {
        try (Traced traced = new Traced(one[0], one[1])) {
          traced.agent.send(
              Hex.request(8, Hex.number(13, 9), Hex.number(659, LEVEL_ONE), Hex.number(679, 7)));
          Check.equal("2 100", Traced.answer(traced.agent.message()));
          traced.get("/work", 1);
          Check.equal(true, traced.poll(0).isEmpty());
        }
      }
    });

    Check.test("a class file that cannot be read is left as it was, and the log says so", () -> {
      List<String> log = new ArrayList<>();
      List<String> asked = new ArrayList<>();
      ClassFileTransformer weaver;
      try (InputStream jar = Tracing.class.getResourceAsStream("/zov-weaver.jar")) {
        weaver = (ClassFileTransformer) new WeaverLoader(jar)
                     .loadClass("zov.weaver.Weaver")
                     .getConstructor(int.class, Consumer.class)
                     .newInstance(RequestCounting.ENTRIES, (Consumer<String>) log::add);
      }
      byte[] chain;
      try (InputStream in = Filter.Chain.class.getResourceAsStream("Filter$Chain.class")) {
        chain = in.readAllBytes();
      }
      int[][] versions = {{0, 52, 1}, {0, 65, 1}, {0, 69, 1}, {0xff, 69, 0}, {0, 70, 0}};
      for (int[] version : versions) {
        chain[4] = chain[5] = (byte) version[0];
        chain[7] = (byte) version[1];
        byte[] woven = weaver.transform(null, "com/sun/net/httpserver/Filter$Chain", null, null, chain);
        Check.equal(version[1] + " " + version[2],
            (woven == null ? version[1] : woven[7]) + " " + (woven == null ? 0 : 1));
      }
      byte[] broken = Arrays.copyOf(chain, chain.length / 2);
      broken[7] = 52;
      Check.equal(null, weaver.transform(null, "com/sun/net/httpserver/Filter$Chain", null, null, broken));
      Check.equal(null, weaver.transform(null, "zov/demo/Shop", null, null, chain));
      Check.equal(3, log.size());
      for (String exchange : List.of("HttpExchangeImpl", "HttpsExchangeImpl")) {
        String name = "sun/net/httpserver/" + exchange;
        try (InputStream in = Filter.Chain.class.getModule().getResourceAsStream(name + ".class")) {
          Check.holds(weaver.transform(null, name, null, null, in.readAllBytes()) != null, name);
        }
      }
      ClassLoader isolated = new ClassLoader(null) {
        @Override
        protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
          asked.add(name);
          throw new ClassNotFoundException(name);
        }
      };
      chain[7] = 52;
      for (int i = 0; i < 2; i++)
        Check.equal(
            null, weaver.transform(isolated, "com/sun/net/httpserver/Filter$Chain", null, null, chain));
      Check.equal("4 [zov.boot.Hooks]", log.size() + " " + asked);
    });

    Check.test("delays of those that were measured are scaled to all, and told when there were some", () -> {
      TraceLedger ledger = new TraceLedger(System::nanoTime);
      ledger.tellDelays(true, 2);
      Samples samples = new Samples();
      TraceSampler sampler = new TraceSampler(1, ledger, () -> 0, new Abbreviations(1));
      for (int measured = 0; measured < 3; measured++) {
        for (int i = 0; i < 3; i++) {
          TracedRequest request = new TracedRequest(0, i < measured ? 50 : 0);
          request.application = "shop";
          request.name = "/page";
          if (i < measured)
            request.delay(DelayType.QUERY, 50_000_000);
          ledger.ended(request, 52_000_000, 200);
        }
        sampler.sample(samples);
        Message told = samples.takeMessages()
                           .stream()
                           .filter(one -> one.subtype == SampleTypes.WORKLOAD_SUMMARY)
                           .findFirst()
                           .get();
        boolean some = measured > 0;
        Check.equal("3 156 " + (some ? "3 150 6" : "0 0 0"),
            told.number(Keys.REQUEST_COUNT) + " " + told.number(Keys.REQUEST_TIME) + " "
                + told.number(Keys.DELAY_6_COUNT) + " " + told.number(Keys.DELAY_6_TIME) + " "
                + told.number(Keys.DELAY_13_TIME));
        Check.equal(some, Hex.of(told.toFrame()).contains(Hex.number(Keys.DELAY_6_COUNT, some ? 3 : 0)));
        Check.equal(some ? 3.0 / measured : 50.0, ledger.scaleOf("shop", "/page").counts);
      }
    });

    Check.test("addresses that somebody makes up take half of the room, and long ones are cut", () -> {
      TraceLedger ledger = new TraceLedger(System::nanoTime);
      StringBuilder name = new StringBuilder("/");
      for (int i = 0; i < 100_000; i++) {
        for (int rest = i; rest > 0; rest /= 20) name.append((char) ('a' + rest % 20));
        ended(ledger, name.toString(), 404);
        name.setLength(1);
      }
      ended(ledger, "/page", 200);
      ended(ledger,
          "/"
              + "ab/".repeat(20_000),
          500);
      Map<String, Long> counts = new TreeMap<>();
      for (TallyLedger.Account account : ledger.requests.accounts())
        counts.put(account.kind.names.get(1), ledger.requests.take(account)[TraceLedger.ALL].count);
      Check.holds(counts.size() <= TallyLedger.MOST_KINDS / 2 + 3, counts.size());
      Check.equal(100_002L, counts.values().stream().mapToLong(count -> count).sum());
      Check.equal(1L, counts.get("/page"));
      Check.holds(
          counts.keySet().stream().allMatch(one -> one.length() <= NamePatterns.LONGEST_NAME), "names");
    });
  }

  private static void ended(TraceLedger ledger, String name, int status) {
    TracedRequest request = new TracedRequest(0, 1);
    request.application = "shop";
    request.name = name;
    ledger.ended(request, 1_000_000, status);
  }

  /** A JVM that serves pages, and the agent that its collector has a session with. */
  private static final class Traced implements Closeable {
    private final JvmTests.Place place = new JvmTests.Place();
    private final FakeAgent agent = new FakeAgent();
    private final JvmTests.Host host;
    private final int port;

    Traced() throws IOException { this("-Dx=y", ""); }

    Traced(String jvmOption, String more) throws IOException {
      try (ServerSocket free = new ServerSocket(0)) {
        port = free.getLocalPort();
      }
      host = new JvmTests.Host(place, List.of("-Dport=" + port, jvmOption),
          JvmTests.agentOptions(agent) + ",log=FOLDER/log" + more, "zov.collector.TracedServer");
      agent.welcome();
    }

    void collect(int level) throws IOException {
      agent.send(Hex.request(8, Hex.number(13, 9), Hex.number(659, level), Hex.number(679, 7)));
      Check.equal("2 " + (level == 0 ? 0 : 7), answer(agent.message()));
    }

    private static String answer(Message message) { return message.number(14) + " " + message.number(15); }

    void get(String page, int times) throws IOException {
      for (int i = 0; i < times; i++) {
        try (Socket socket = new Socket("127.0.0.1", port)) {
          socket.setSoTimeout(page.equals("/never") ? 200 : 10_000);
          socket.getOutputStream().write(
              ("GET " + page + " HTTP/1.0\r\n\r\n").getBytes(StandardCharsets.US_ASCII));
          socket.getInputStream().readAllBytes();
        } catch (SocketTimeoutException unanswered) {
          Check.equal("/never", page);
        }
      }
    }

    /**
     * Count, time and longest by name, of polls until there are so many: a client may have its answer before
     * the server has come to the end.
     */
    Map<String, long[]> poll(long wanted) throws Exception {
      Map<String, long[]> rows = new TreeMap<>();
      long count = 0;
      for (int i = 0; i == 0 || (count < wanted && i < 500); i++) {
        Thread.sleep(10);
        agent.send(Hex.request(2, Hex.number(13, 2), Hex.number(1, 0x100000)));
        for (Message sample = agent.message(); sample.subtype != 998; sample = agent.message()) {
          if (sample.subtype != SampleTypes.WORKLOAD_SUMMARY)
            continue;
          long[] row = rows.computeIfAbsent(sample.text(Keys.REQUEST_NAME), unseen -> new long[3]);
          row[0] += sample.number(Keys.REQUEST_COUNT);
          row[1] += sample.number(Keys.REQUEST_TIME);
          row[2] = Math.max(row[2], sample.number(Keys.LONGEST_REQUEST_TIME));
          count += sample.number(Keys.REQUEST_COUNT);
        }
      }
      return rows;
    }

    @Override
    public void close() throws IOException {
      host.close();
      agent.close();
      place.close();
    }
  }
}
