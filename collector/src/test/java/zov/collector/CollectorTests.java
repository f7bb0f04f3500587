package zov.collector;

import java.io.ByteArrayOutputStream;
import java.io.Closeable;
import java.io.IOException;
import java.io.PrintStream;
import java.net.ProtocolException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.atomic.AtomicLong;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.management.MBeanServer;
import javax.management.MBeanServerFactory;
import javax.management.ObjectName;

/** Runs all tests, given the collector's document; the exit status is the number of those that failed. */
public final class CollectorTests {
  private static final long PID = ProcessHandle.current().pid();

  private CollectorTests() {}

  public static void main(String[] arguments) {
    messages();
    options();
    document(Path.of(arguments[0]));
    conversation();
    SamplingTests.run();
    RequestTests.run();
    NameTests.run();
    DelayTests.run();
    GcTests.run();
    StatisticsTests.run();
    LogTests.run();
    JvmTests.run();
    TraceTests.run();
    System.exit(Check.failures());
  }

  private static void messages() {
    Check.test("messages have their exact bytes", () -> {
      Message[] given = {
          Message.request(5).number(13, 7).number(14, 2).number(15, 6005164),
          Message.request(1).number(13, 1).number(4, 0).text(5, ""),
          Message.sample(998).number(13, 0x0102030405060708L),
          Message.sample(31).number(703, 0).number(705, -1).number(704, -2).text(701, "a\u00e9\0b"),
      };
      String[] expected = {
          "000000380002000100000005000000010000000d0000000000000007000000010000000e0000000000000002"
              + "000000010000000f00000000005ba1ac",
          Hex.frame(Hex.request(1, Hex.number(13, 1))),
          "0000001800020002000003e6000000010000000d0102030405060708",
          Hex.frame(Hex.sample(31, Hex.number(703, 0), Hex.number(704, -2), Hex.text(701, "a\u00e9"))),
      };
      for (int i = 0; i < given.length; i++) Check.equal(expected[i], Hex.of(given[i].toFrame()));
    });

    Check.test("a body is read to its end, whatever types its texts have", () -> {
      Message read = Message.parse(Hex.bytes(Hex.request(2, Hex.number(1, -1), Hex.text(6, "x"),
          "0000000700000008000000027979", Hex.number(1, 5), "00000000", "ffff")));
      Check.equal("2 5 x yy", read.subtype + " " + read.number(1) + " " + read.text(6) + " " + read.text(8));
      Check.equal(0L, read.number(13));
    });

    Check.test("a body that does not hold what it announces is refused", () -> {
      String[] bodies = {"", "00020001000000", Hex.request(2, "0000"), Hex.request(2, "0000000100000001"),
          Hex.request(2, "000000010000000100000000000000"), Hex.request(2, "0000000200000001"),
          Hex.request(2, "000000020000000100000002ff"), Hex.request(2, "0000000200000001ffffffff"),
          Hex.request(2, "00000002000000017fffffff61")};
      for (String body : bodies)
        Check.failureOf(ProtocolException.class, () -> Message.parse(Hex.bytes(body)));
    });
  }

  private static void options() {
    Check.test("options are read in any order, with defaults", () -> {
      Options all = Options.parse("root=/srv/shop, name=shop,agent=mon.example.test:7,log=x");
      Check.equal("mon.example.test 7 shop /srv/shop",
          all.agentHost + " " + all.agentPort + " " + all.serverName + " " + all.serverRoot);
      Options few = Options.parse("name=shop");
      Check.equal("127.0.0.1 63335 " + System.getProperty("user.dir"),
          few.agentHost + " " + few.agentPort + " " + few.serverRoot);
      Options paths = Options.parse("log=/var/log/a, b/x.log,root=/srv/my shop,2,,3 ,name=my shop");
      Check.equal("my shop|/srv/my shop,2,,3|/var/log/a, b/x.log",
          paths.serverName + "|" + paths.serverRoot + "|" + paths.logFile);
    });

    Check.test("wrong options are named in one line, and nothing starts", () -> {
      String[][] wrong = {{"", "'name' is missing"}, {"name", "'name' is not of the form"},
          {"name=", "'name' has no value"}, {"name=a,name=b", "given twice"},
          {"root=/a,root", "not of the form"}, {"name=a,colour=red", "'colour' is not known"},
          {"root=/a,b=c", "'b' is not known"}, {"name=a,b", "'b' is not of the form"},
          {"name=a,agent=host", "'host' is not of the form HOST:PORT"},
          {"name=a,agent=h:0", "'0' is not a port"}, {"name=a,agent=h:65536", "'65536' is not a port"},
          {"name=a,agent=h:-1", "'-1' is not a port"}, {"name=a,statistics=no", "'no' is neither on nor off"},
          {"name=,log=\0", "'name' has no value"}, {null, "missing"}};
      PrintStream standardError = System.err;
      for (String[] one : wrong) {
        ByteArrayOutputStream told = new ByteArrayOutputStream();
        System.setErr(new PrintStream(told, true, StandardCharsets.UTF_8));
        Agent.premain(one[0], null);
        System.setErr(standardError);
        String line = told.toString(StandardCharsets.UTF_8);
        Check.holds(line.contains(one[1]) && line.contains("accepted are"), one[0] + ": " + line);
        Check.equal(1L, line.lines().count());
      }
      Check.equal(null, System.getProperty(Agent.LOG_PROPERTY));
    });

    Check.test("the log is bounded and leaves out repetitions", () -> {
      Path folder = Files.createTempDirectory("collector");
      CollectorLog log = CollectorLog.open(folder.resolve("log").toString());
      String kilobyte = "x\n".repeat(512);
      for (int i = 0; i < 3 * CollectorLog.LARGEST / 1024; i++) {
        log.line(kilobyte + i);
        log.line(kilobyte + i);
      }
      Path full = folder.resolve("log.1");
      Check.holds(Files.size(full) < CollectorLog.LARGEST + 2048, Files.size(full));
      Check.equal(
          Files.readAllLines(full).size(), (int) Files.readAllLines(full).stream().distinct().count());
      Check.equal("rw-r-----", PosixFilePermissions.toString(Files.getPosixFilePermissions(full)));
      Files.delete(folder.resolve("log"));
      Files.delete(full);
      Files.delete(folder);
    });
  }

  private static void document(Path file) {
    Check.test("the document lists all names that are sent, and no other", () -> {
      String text = Files.readString(file);
      String[] headings = {"JVM properties:", "Environment variables:"};
      List<List<String>> lists = List.of(AllowedNames.PROPERTIES, AllowedNames.VARIABLES);
      for (int i = 0; i < headings.length; i++) {
        String paragraph = text.split(headings[i])[1].split("\n\n")[0];
        List<String> listed = new ArrayList<>();
        Matcher names = Pattern.compile("`([^`]+)`").matcher(paragraph);
        while (names.find()) listed.add(names.group(1));
        Check.equal(lists.get(i), listed);
      }
      for (Source source : Source.values()) {
        String row = "| `" + source.pattern + "` | `" + String.join("`, `", source.attributes) + "` |";
        Check.holds(text.contains(row), row);
      }
    });
  }

  /**
   * An agent, and a collector on its own thread that records its waits between attempts and does not wait.
   * Its clock stands still.
   */
  private static final class Running implements Closeable {
    final FakeAgent agent = new FakeAgent();
    final BlockingQueue<Integer> waits = new LinkedBlockingQueue<>();
    final AtomicLong nanos = new AtomicLong();
    private final Thread thread;

    Running() throws IOException {
      Options options = Options.parse("name=shop,root=/srv/shop,agent=127.0.0.1:" + agent.port());
      thread = new Thread(new Collector(
          options, CollectorLog.none(), new Tracing(null, CollectorLog.none()), waits::put, nanos::get));
      thread.start();
    }

    @Override
    public void close() throws IOException {
      thread.interrupt();
      agent.close();
      try {
        thread.join();
      } catch (InterruptedException stopped) {
        throw new IOException(stopped);
      }
    }
  }

  private static void conversation() {
    Check.test("the ping tells who the server is", () -> {
      try (Running collector = new Running()) {
        FakeAgent agent = collector.agent;
        Check.equal(
            Hex.request(1, Hex.number(13, 1), Hex.number(4, PID), Hex.number(24, 6005159),
                Hex.number(25, 6005164), Hex.text(31, System.getProperty("user.dir")), Hex.text(5, "shop"),
                Hex.text(38, "/srv/shop"),
                Hex.text(39, "java" + Runtime.version().feature() + " " + System.getProperty("os.name")),
                Hex.text(41, Locale.getDefault().toString())),
            agent.accept().receive());
      }
    });

    Check.test("each request has its answer", () -> {
      String invalidType = Hex.number(15, 165);
      String[][] exchanges = {
          {Hex.request(1, Hex.number(13, 8)), Hex.number(14, 2)},
          {Hex.request(8, Hex.number(13, 9), Hex.number(659, 0x300), Hex.number(679, 2), Hex.text(650, "A")),
              Hex.number(14, 2) + Hex.number(15, 100)},
          {Hex.request(8, Hex.number(13, 9), Hex.number(659, 0x7f00)),
              Hex.number(14, 2) + Hex.number(15, 100)},
          {Hex.request(8, Hex.number(13, 9)), Hex.number(14, 2)},
          {Hex.request(8, Hex.number(13, 9), Hex.number(659, 1)), Hex.number(14, 1) + invalidType},
          {Hex.request(15, Hex.number(13, 9), Hex.number(1050, 1), Hex.text(1051, "gc.log")),
              Hex.number(14, 2)},
          {Hex.request(15, Hex.number(13, 9), Hex.number(1050, 2)), Hex.number(14, 2)},
          {Hex.request(3, Hex.number(13, 9)), Hex.number(14, 1) + invalidType},
          {Hex.request(41, Hex.number(13, 4294967295L)), Hex.number(14, 1) + invalidType},
      };
      try (Running collector = new Running()) {
        FakeAgent agent = collector.agent;
        agent.welcome();
        for (String[] exchange : exchanges) {
          String answer = agent.send(exchange[0]).receive();
          long correlator = Message.parse(Hex.bytes(exchange[0])).number(13);
          String expected = Hex.request(5, Hex.number(13, correlator), exchange[1]);
          Check.holds(answer.startsWith(expected), answer + " for " + exchange[0]);
          boolean refused = exchange[1].startsWith(Hex.number(14, 1));
          Check.equal(refused, !Message.parse(Hex.bytes(answer)).text(28).isEmpty());
          if (!refused)
            Check.equal(expected, answer);
        }
        Check.equal(Hex.sample(998, Hex.number(13, 77)),
            agent.send(Hex.request(2, Hex.number(13, 77), Hex.number(1, 0x20c2000))).receive());
      }
    });

    Check.test("a bad frame costs the connection, and the collector comes back", () -> {
      String[] frames = {"00000000", "00000007", "ffffffff", "00100001", "7fffffff00020001",
          Hex.frame("0002000300000001"), Hex.frame(Hex.sample(998, Hex.number(13, 1))),
          Hex.frame(Hex.request(5, Hex.number(13, 1), Hex.number(14, 2))),
          Hex.frame(Hex.request(2, "00000002000000017fffffff"))};
      try (Running collector = new Running()) {
        FakeAgent agent = collector.agent;
        for (String frame : frames) agent.welcome().sendRaw(frame);
        agent.welcome().sendRaw("0000").hangUp();
        Check.equal(Hex.sample(998, Hex.number(13, 5)),
            agent.welcome().send(Hex.request(2, Hex.number(13, 5))).receive());
      }
    });

    Check.test("attempts get rarer until a session has lived, and a refusal waits longest", () -> {
      try (Running collector = new Running()) {
        FakeAgent agent = collector.agent;
        for (int expected : new int[] {1, 2, 4, 8, 16, 30, 30}) {
          // One answered request is no life yet.
          agent.welcome().send(Hex.request(1, Hex.number(13, 1))).receive();
          agent.hangUp();
          Check.equal(expected, collector.waits.take());
        }
        agent.welcome();
        collector.nanos.addAndGet(Collector.LIVED_NANOS);
        agent.hangUp();
        Check.equal(1, collector.waits.take());
        String[] refusals = {Hex.number(14, 1) + Hex.number(15, 174), Hex.number(15, 6005164)};
        for (String refusal : refusals) {
          agent.accept().receive();
          agent.send(Hex.request(5, Hex.number(13, 1), refusal));
          Check.equal(30, collector.waits.take());
        }
        agent.accept().receive();
        agent.send(Hex.request(5, Hex.number(13, 2), Hex.number(14, 2)));
        Check.equal(30, collector.waits.take());
        agent.close();
        int wait = collector.waits.take();
        while (wait == 30) wait = collector.waits.take();
        Check.equal(2, wait);
      }
    });

    Check.test("without a server that it knows it does not claim to collect requests", () -> {
      String collect = Hex.request(8, Hex.number(13, 9), Hex.number(659, 0x300));
      try (Running collector = new Running()) {
        FakeAgent agent = collector.agent;
        Check.equal(2L, agent.welcome().send(collect).message().number(14));
        collector.nanos.addAndGet(ServerSearch.PATIENCE_NANOS);
        agent.endSession();
        Message refusal = agent.welcome().send(collect).message();
        Check.equal("1 21", refusal.number(14) + " " + refusal.number(15));
        Check.holds(refusal.text(28).contains("No server"), refusal.text(28));
        MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
        server.registerMBean(Bean.servlet(1, 1, 1), new ObjectName("Test:j2eeType=Servlet,name=late"));
        agent.endSession();
        Check.equal(2L, agent.welcome().send(collect).message().number(14));
        MBeanServerFactory.releaseMBeanServer(server);
      }
    });
  }
}
