package zov.collector;

import java.io.BufferedReader;
import java.io.Closeable;
import java.io.File;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;

/** The collector in real JVMs, of kinds that make it hard. */
final class JvmTests {
  private static final String COLLECT = Hex.request(8, Hex.number(13, 9), Hex.number(659, 0x300));

  private static final String COLLECT_GC = Hex.request(15, Hex.number(13, 9), Hex.number(1050, 1));

  private JvmTests() {}

  static void run() {
    Check.test("without a log asked for, it is beside the server's own or in the temporary directory", () -> {
      try (Place place = new Place(); FakeAgent agent = new FakeAgent()) {
        Path base = Files.createDirectories(place.folder.resolve("cat base/logs")).getParent();
        Path temporary = Files.createDirectory(place.folder.resolve("tmp"));
        String unwritable = temporary.resolve("none/x.log").toString();
        Object[][] cases = {{List.of("-Dcatalina.base=" + base), "", base.resolve("logs")},
            {List.of("-Dcatalina.base=" + temporary), "", temporary},
            {List.of("-Djetty.base=" + base), ",log=" + unwritable, base.resolve("logs")}};
        for (Object[] one : cases) {
          List<String> options = new ArrayList<>(List.of("-Djava.io.tmpdir=" + temporary));
          for (Object option : (List<?>) one[0]) options.add((String) option);
          try (Host host = new Host(place, options, agentOptions(agent) + one[1])) {
            Message ping = agent.welcome().lastPing();
            Check.equal("my shop " + place.folder + "/my, shop", ping.text(5) + " " + ping.text(38));
            Check.holds(host.errors().startsWith("zov-collector: its log is " + one[2] + "/zov-collector"),
                host.errors());
            Check.equal(1L, host.errors().lines().count());
          }
        }
      }
    });

    Check.test("a JVM without the modules that it likes works, or says what it cannot", () -> {
      try (Place place = new Place(); FakeAgent agent = new FakeAgent();
           Host host = new Host(place, List.of("--limit-modules", "java.base,java.instrument"),
               agentOptions(agent) + ",trace=off")) {
        Message refusal = agent.welcome().send(COLLECT).message();
        Check.holds(refusal.text(28).contains("--add-modules java.management"), refusal.text(28));
        agent.send(Hex.request(2, Hex.number(13, 2), Hex.number(1, 0x100000)));
        boolean properties = false;
        for (Message sample = agent.message(); sample.subtype != 998; sample = agent.message())
          properties |= sample.text(870).equals("java.version");
        Check.holds(properties && host.errors().contains("its log is"), host.errors());
      }
    });

    Check.test("a JVM that announces no garbage collections refuses to tell of them", () -> {
      for (String modules : List.of("java.base,java.instrument", "java.instrument,java.management")) {
        try (Place place = new Place(); FakeAgent agent = new FakeAgent();
             Host host = new Host(place, List.of("--limit-modules", modules), agentOptions(agent))) {
          Message refusal = agent.welcome().send(COLLECT_GC).message();
          Check.equal("1 119", refusal.number(14) + " " + refusal.number(15));
          Check.holds(refusal.text(28).contains("--add-modules jdk.management"), host.errors());
        }
      }
    });

    if (Runtime.version().feature() < 24) { // later JVMs have no security manager
      Check.test("a security manager's policy lets it work, or it says what the policy must have", () -> {
        try (Place place = new Place(); FakeAgent agent = new FakeAgent()) {
          Path policy = place.folder.resolve("policy");
          String manager = "-Djava.security.policy==" + policy;
          Files.writeString(policy, "grant { permission java.util.PropertyPermission \"*\", \"read\"; };");
          try (
              Host host = new Host(place, List.of("-Djava.security.manager", manager), agentOptions(agent))) {
            Check.holds(host.errors().contains("permission java.security.AllPermission"), host.errors());
          }
          Files.writeString(policy,
              "grant codeBase \"" + place.jar.toUri() + "\" { permission java.security.AllPermission; };");
          try (
              Host host = new Host(place, List.of("-Djava.security.manager", manager), agentOptions(agent))) {
            Check.equal(2L, agent.welcome().send(COLLECT).message().number(14));
            Check.holds(host.errors().contains("its log is"), host.errors());
          }
        }
      });
    }

    Check.test("it is put into a JVM that already runs, once", () -> {
      try (Place place = new Place(); FakeAgent agent = new FakeAgent();
           Host host = new Host(place, List.of(), null)) {
        String[] attach = {"-jar", place.jar.toString(), "attach", host.pid(), agentOptions(agent)};
        String told = output(0, attach);
        Check.holds(
            told.contains("The collector runs in process " + host.pid() + "; its log is " + place.folder),
            told);
        Check.equal("my shop", agent.welcome().lastPing().text(5));
        Check.holds(output(1, attach).contains("already"), "a second attach");
        attach[4] = "root=/x";
        Check.holds(output(2, attach).contains("'name' is missing"), "wrong options");
        String without = output(1, "--limit-modules", "java.base", "-cp", place.jar.toString(),
            "zov.collector.Main", "attach", host.pid(), "name=x");
        Check.holds(without.contains("jdk.attach") && without.contains("default-jdk-headless"), without);
      }
    });
  }

  static String agentOptions(FakeAgent agent) {
    return "agent=127.0.0.1:" + agent.port() + ",root=FOLDER/my, shop,name=my shop";
  }

  /** A folder with blanks in its name that has the collector's jar, and goes at the end. */
  static final class Place implements Closeable {
    final Path folder = Files.createTempDirectory("collector of tests");
    final Path jar = folder.resolve("zov collector.jar");

    Place() throws IOException { Files.copy(place(Agent.class), jar); }

    @Override
    public void close() throws IOException {
      try (Stream<Path> all = Files.walk(folder)) {
        all.sorted(Comparator.reverseOrder()).forEach(path -> path.toFile().delete());
      }
    }
  }

  /**
   * A JVM that runs {@link Waiting} or another main class, with the collector unless the options are null.
   */
  static final class Host implements Closeable {
    private final Process process;
    private final Path errors;

    Host(Place place, List<String> jvmOptions, String agentOptions) throws IOException {
      this(place, jvmOptions, agentOptions, "zov.collector.Waiting");
    }

    Host(Place place, List<String> jvmOptions, String agentOptions, String main) throws IOException {
      errors = Files.createTempFile(place.folder, "errors", "");
      List<String> command = new ArrayList<>(List.of(java(), "-Djava.io.tmpdir=" + place.folder));
      command.addAll(jvmOptions);
      if (agentOptions != null)
        command.add(
            "-javaagent:" + place.jar + "=" + agentOptions.replace("FOLDER", place.folder.toString()));
      command.addAll(List.of("-cp", place(JvmTests.class).toString(), main));
      process = new ProcessBuilder(command).redirectError(errors.toFile()).start();
      BufferedReader out =
          new BufferedReader(new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8));
      String line = out.readLine();
      if (!"ready".equals(line))
        throw new IOException("The host does not start: " + line + Files.readString(errors));
    }

    String pid() { return Long.toString(process.pid()); }

    /** What the JVM wrote on standard error, without what it says of itself. */
    String errors() throws IOException {
      StringBuilder own = new StringBuilder();
      for (String line : Files.readAllLines(errors)) {
        if (!line.startsWith("WARNING:"))
          own.append(line).append('\n');
      }
      return own.toString();
    }

    @Override
    public void close() throws IOException {
      process.getOutputStream().close();
      try {
        if (!process.waitFor(20, TimeUnit.SECONDS)) {
          process.destroyForcibly();
          throw new IOException("The host did not end");
        }
      } catch (InterruptedException stopped) {
        throw new IOException(stopped);
      }
    }
  }

  private static Path place(Class<?> type) {
    return Paths.get(new File(type.getProtectionDomain().getCodeSource().getLocation().getPath()).toString());
  }

  private static String java() { return System.getProperty("java.home") + "/bin/java"; }

  /** What a Java command with that exit status writes, on either stream. */
  private static String output(int status, String... arguments) throws Exception {
    List<String> command = new ArrayList<>(List.of(java()));
    command.addAll(List.of(arguments));
    Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
    String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    Check.equal(status + "", process.waitFor() + (process.waitFor() == status ? "" : output));
    return output;
  }
}
