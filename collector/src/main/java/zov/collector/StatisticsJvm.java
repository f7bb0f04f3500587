package zov.collector;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.ProtocolException;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.function.LongSupplier;

/**
 * The statistics JVM ({@link StatisticsMain}) as its server sees it: a child process that the agent has asked
 * for. Its standard input and output are the only way between them: the server tells the token first, then
 * the child hands on the agent's questions as the agent's own requests, and a thread here reads the figures
 * and answers with samples and their end. A ping from the child says that it lives, and its text is a line
 * for the log.
 *
 * There is one child at a time, and it ends with what it hangs on: its agent (the connection), its server
 * (its standard input), the collector ({@link #stop}, at the JVM's shutdown, too). One that is silent is
 * killed by {@link #check}, one that does not keep to the form by the thread. A child that asks without end
 * gets a fifth of a processor, since the thread rests between answers.
 *
 * The thread is a daemon. The lock, this object, is held for a second at most. The JDK reaps the process.
 */
final class StatisticsJvm {
  static final long SILENT_NANOS = 90_000_000_000L;

  private static final long NO_SUCH_SERVER = 7;
  private static final long RECOVERABLE_EXCEPTION = 61;
  private static final int OLD_READING_MILLIS = 1_000;
  private static final int RESTS_PER_WORK = 4;
  private static final int LONGEST_REST_MILLIS = 1_000;
  private static final int MOST_LAST_WORDS = 200;
  private static final long NANOS_PER_MILLI = 1_000_000;
  /** Of the host's environment; others, as JAVA_TOOL_OPTIONS, are meant for the host alone. */
  private static final List<String> VARIABLES = List.of("LANG", "LC_ALL", "LC_CTYPE");
  /** Small, without a file of its own, and silent, since its output is read. */
  private static final List<String> JVM_OPTIONS = List.of("-XX:+IgnoreUnrecognizedVMOptions", "-Xmx16m",
      "-Xms4m", "-Xss256k", "-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1", "-XX:CICompilerCount=1",
      "-XX:MaxMetaspaceSize=24m", "-XX:ReservedCodeCacheSize=8m", "-XX:-UsePerfData",
      "-XX:+DisableAttachMechanism", "-XX:-CreateCoredumpOnCrash", "-XX:ErrorFile=/dev/null",
      "-XX:+ExitOnOutOfMemoryError", "-Xlog:disable");

  private final Options options;
  private final long processId;
  private final CollectorLog log;
  private final LongSupplier nanoTime;
  private Process child;
  private Thread reader;
  private boolean hooked;
  private volatile long heard;

  StatisticsJvm(Options options, long processId, CollectorLog log, LongSupplier nanoTime) {
    this.options = options;
    this.processId = processId;
    this.log = log;
    this.nanoTime = nanoTime;
  }

  /**
   * Starts the child, in place of a former one; it calls back at the agent's port and shows the token.
   * Returns why there is none; empty when there is.
   */
  synchronized String start(long port, long token) {
    if (!options.statistics)
      return "the collector's option statistics is off";
    stop();
    if (isStillReading())
      return "the server hangs in a reading of its figures that was asked for before";
    try {
      if (!hooked)
        Runtime.getRuntime().addShutdownHook(new Thread(this::stop, "zov-statistics-end"));
      hooked = true;
      launch(port, token);
      return "";
    } catch (IOException | RuntimeException | OutOfMemoryError failure) { // the last for want of a thread
      stop();
      return failure.toString();
    }
  }

  private void launch(long port, long token) throws IOException {
    ProcessBuilder builder = new ProcessBuilder(command(port)).redirectErrorStream(true);
    builder.environment().keySet().retainAll(VARIABLES);
    Process started = builder.start();
    child = started;
    heard = nanoTime.getAsLong();
    reader = new Thread(null, () -> serve(started, token), "zov-statistics", 0, false);
    reader.setDaemon(true);
    reader.setUncaughtExceptionHandler((ended, failure) -> {}); // the default one prints
    reader.start();
  }

  /** Kills a child that hangs. To be called every few seconds. */
  synchronized void check() {
    if (child == null || !child.isAlive() || nanoTime.getAsLong() - heard < SILENT_NANOS)
      return;
    log.line("The statistics JVM, process " + child.pid() + ", has been silent for "
        + SILENT_NANOS / 1_000_000_000 + " seconds, and is ended; the agent asks for a new one");
    child.destroyForcibly();
  }

  synchronized void stop() {
    if (child != null)
      child.destroyForcibly();
  }

  /** The end of a child wakes its reader, unless that hangs in the host. */
  private boolean isStillReading() {
    if (reader == null)
      return false;
    try {
      reader.join(OLD_READING_MILLIS);
    } catch (InterruptedException stopped) {
      Thread.currentThread().interrupt();
    }
    return reader.isAlive();
  }

  private List<String> command(long port) throws IOException {
    List<String> command = new ArrayList<>();
    command.add(Paths.get(System.getProperty("java.home"), "bin", "java").toString());
    command.addAll(JVM_OPTIONS);
    command.addAll(List.of("-cp", jar().toString(), StatisticsMain.class.getName(), options.agentHost,
        String.valueOf(port), String.valueOf(processId)));
    return command;
  }

  private static Path jar() throws IOException {
    try {
      return Paths.get(StatisticsJvm.class.getProtectionDomain().getCodeSource().getLocation().toURI());
    } catch (URISyntaxException strange) {
      throw new IOException(strange);
    }
  }

  // --- The reader's thread.

  private void serve(Process from, long token) {
    try (InputStream in = new BufferedInputStream(from.getInputStream());
         OutputStream out = new BufferedOutputStream(from.getOutputStream())) {
      Budget budget = new Budget(Budget.ofThisThread());
      send(out,
          Message.request(RequestTypes.INITIATE_REMOTE_PSI_CLIENT_TYPE)
              .number(RequestKeys.STATISTICS_TOKEN, token));
      out.flush();
      while (true) {
        Message message = next(in);
        long begun = nanoTime.getAsLong();
        heard = begun;
        if (message.isRequest(RequestTypes.PING_REQUEST_TYPE)) {
          tell(message.text(RequestKeys.MESSAGE));
        } else {
          answer(message, budget, from, out);
          out.flush();
        }
        rest(nanoTime.getAsLong() - begun);
      }
    } catch (Throwable ended) {
      tell("the link to it has ended: " + ended);
    } finally {
      from.destroyForcibly();
    }
  }

  private void tell(String what) {
    if (!what.isEmpty())
      log.line("Statistics JVM: " + what);
  }

  private static void rest(long workNanos) throws InterruptedException {
    Thread.sleep(1 + Math.min(LONGEST_REST_MILLIS, RESTS_PER_WORK * workNanos / NANOS_PER_MILLI));
  }

  /** What is no message are a JVM's words about why it does not start. */
  private static Message next(InputStream in) throws IOException {
    in.mark(MOST_LAST_WORDS);
    try {
      return Message.read(in);
    } catch (ProtocolException noMessage) {
      in.reset();
      byte[] words = in.readNBytes(Math.min(in.available(), MOST_LAST_WORDS));
      throw new IOException("it says: " + new String(words, StandardCharsets.UTF_8));
    }
  }

  private void answer(Message question, Budget budget, Process from, OutputStream out)
      throws IOException, InterruptedException {
    String server = question.text(RequestKeys.APP_SERVER_NAME);
    if (!server.isEmpty() && !server.equals(options.serverName)) {
      send(out, Message.refused(question, NO_SUCH_SERVER, "This is the server " + options.serverName));
      return;
    }
    if (question.isRequest(RequestTypes.GET_TSL_INSTANCES_TYPE)) {
      send(out, sample(question, description(from)));
      send(out, end(question));
      return;
    }
    int type = question.isRequest(RequestTypes.GET_ALL_PSI_DATA_TYPE)
        ? Readings.ALL
        : typeOfGroup(question.number(RequestKeys.STATISTICS_GROUP));
    budget.begin();
    String[] names = question.text(RequestKeys.RESOURCE_NAMES).split("\n");
    Readings readings = new Readings(budget, type, names,
        figures -> send(out, sample(question, figures.text()).number(Keys.STATISTICS_FIGURE, figures.type)));
    readings.run();
    if (readings.failure().isEmpty()) {
      send(out, end(question));
      return;
    }
    log.line("The statistics are told in part: " + readings.failure());
    send(out, Message.refused(question, RECOVERABLE_EXCEPTION, readings.failure()));
  }

  private String description(Process from) throws InterruptedException {
    StringBuilder text = new StringBuilder("instanceName=" + options.serverName + "\nprocessId=" + processId
        + "\nverboseGCFileName=" + GcWatch.PLACE + "\n");
    String log = ServerLog.awaited(from::isAlive);
    if (!log.isEmpty())
      text.append("stdoutFileName=").append(log).append('\n');
    ProcessHandle.current().info().startInstant().ifPresent(
        start -> text.append("startTime=").append(start.toEpochMilli()).append('\n'));
    return text.toString();
  }

  /** The groups number the sample types: 1 to 9, then 67 to 75 with the last two changed about. */
  private static int typeOfGroup(long group) {
    return group < 9 ? (int) group + 1 : group < 16 ? (int) group + 58 : group == 16 ? 75 : 74;
  }

  private Message sample(Message question, String text) {
    return Message.sample(SampleTypes.PSI)
        .number(Keys.CORRELATOR, question.number(RequestKeys.CORRELATOR))
        .number(Keys.STATISTICS_CLIENT, question.number(RequestKeys.CLIENT_ID))
        .text(Keys.SERVER_NAME, options.serverName)
        .text(Keys.STATISTICS_TEXT, text);
  }

  private static Message end(Message question) {
    return Message.sample(SampleTypes.END).number(Keys.CORRELATOR, question.number(RequestKeys.CORRELATOR));
  }

  private static void send(OutputStream out, Message message) throws IOException {
    out.write(message.toFrame());
  }
}
