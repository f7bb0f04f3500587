package zov.collector;

import java.io.BufferedInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.ProtocolException;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.TimeUnit;

/**
 * The statistics JVM: a process beside one server, which the agent asks for what that server counts. It
 * connects with the agent, shows the token that it was started for, and answers until the agent, the server
 * or itself ends.
 *
 * It knows nothing itself: questions for figures go on to the server by standard output, whose answers come
 * by standard input ({@link StatisticsJvm}). So what hangs in the server costs a negative answer here, and
 * never the agent's connection. All is done on the main thread but the reading of the answers.
 */
public final class StatisticsMain {
  private static final long STATISTICS_PROCESS = 2;
  private static final long NO_SUCH_SERVER = 7;
  private static final long NO_SUCH_CLIENT = 140;
  private static final long NO_ANSWER = 142;
  private static final long INVALID_REQUEST_TYPE = 165;

  private static final int LOOK_UP_MILLIS = 5_000;
  private static final int AGENT_MILLIS = 60_000;
  /** Shorter than what a query waits for. */
  private static final long ANSWER_NANOS = 15_000_000_000L;
  private static final long BEAT_NANOS = 20_000_000_000L;
  private static final int MOST_WAITING_ANSWERS = 64;
  private static final int NOBODY_TAKES_SECONDS = 60;

  private final InputStream in = new BufferedInputStream(System.in);
  private final OutputStream out = System.out;
  private final BlockingQueue<Message> answers = new ArrayBlockingQueue<>(MOST_WAITING_ANSWERS);
  private final Loads loads = new Loads();
  private final Connection agent;
  private final long serverProcess;
  private char delimiter = '\n';
  private long clients;
  private Message unanswered;
  private long lastBeat = System.nanoTime();

  /** The arguments are host and port of the agent, and the server's process id; the token comes by input. */
  public static void main(String[] arguments) {
    try {
      new StatisticsMain(arguments).run();
    } catch (IOException | InterruptedException | RuntimeException end) {
      tellEnd(end);
    } finally {
      Runtime.getRuntime().halt(0);
    }
  }

  private static void tellEnd(Exception end) {
    try {
      String text = "it ends: " + end;
      System.out.write(
          Message.request(RequestTypes.PING_REQUEST_TYPE).text(RequestKeys.MESSAGE, text).toFrame());
      System.out.flush();
    } catch (IOException serverHasEnded) {
      // There is nobody to tell.
    }
  }

  private StatisticsMain(String[] arguments) throws IOException {
    serverProcess = Long.parseLong(arguments[2]);
    long token = Message.read(in).number(RequestKeys.STATISTICS_TOKEN);
    agent = Connection.open(arguments[0], Integer.parseInt(arguments[1]), System::nanoTime);
    agent.send(Message.request(RequestTypes.PING_REQUEST_TYPE)
                   .number(RequestKeys.CORRELATOR, 1)
                   .number(RequestKeys.PROCESS_ID, ProcessHandle.current().pid())
                   .number(RequestKeys.PING_TYPE, STATISTICS_PROCESS)
                   .number(RequestKeys.REMOTE_TOKEN, token));
    if (agent.receive(AGENT_MILLIS).number(RequestKeys.STATUS) != Message.STATUS_ACCEPTED)
      throw new ProtocolException("The agent refuses it");
  }

  private void run() throws IOException, InterruptedException {
    Thread reader = new Thread(this::readAnswers, "answers");
    reader.setDaemon(true);
    reader.start();
    while (true) {
      while (!agent.awaitFrame(LOOK_UP_MILLIS)) beat();
      beat();
      serve(agent.receive(LOOK_UP_MILLIS));
    }
  }

  /** Its end is the server's, and so that of this process. */
  private void readAnswers() {
    try {
      while (answers.offer(Message.read(in), NOBODY_TAKES_SECONDS, TimeUnit.SECONDS)) continue;
    } catch (IOException | InterruptedException end) {
      // Whatever it is.
    } finally {
      Runtime.getRuntime().halt(0);
    }
  }

  private void beat() throws IOException {
    if (System.nanoTime() - lastBeat < BEAT_NANOS)
      return;
    lastBeat = System.nanoTime();
    ask(Message.request(RequestTypes.PING_REQUEST_TYPE));
  }

  private void ask(Message question) throws IOException {
    out.write(question.toFrame());
    out.flush();
  }

  private void serve(Message request) throws IOException, InterruptedException {
    if (request.dataType != Message.REQUEST || request.subtype == RequestTypes.RESPONSE_TYPE)
      throw new ProtocolException("The agent has sent what is no request, of type " + request.subtype);
    if (request.subtype == RequestTypes.CREATE_PSI_CLIENT_TYPE) {
      create(request);
      return;
    }
    long client = request.number(RequestKeys.CLIENT_ID);
    if (client < 1 || client > clients) {
      agent.send(Message.refused(request, NO_SUCH_CLIENT, "There is no client " + client + " here"));
      return;
    }
    switch (request.subtype) {
      case RequestTypes.TEST_PSI_CLIENT_STATUS_TYPE:
      case RequestTypes.PING_TSL_INSTANCES_TYPE:
      case RequestTypes.GET_PSI_NAME_SPACES_TYPE: // names are never kept here
      case RequestTypes.PSI_CLEANUP_TYPE:
        agent.send(Message.accepted(request));
        break;
      case RequestTypes.SET_PSI_DELIMETER_TYPE:
        setDelimiter(request);
        break;
      case RequestTypes.GET_TSL_INSTANCES_TYPE:
      case RequestTypes.GET_ALL_PSI_DATA_TYPE:
      case RequestTypes.GET_PSI_SAMPLES_TYPE:
        handOn(request);
        break;
      default:
        agent.send(Message.refused(request, INVALID_REQUEST_TYPE,
            "The statistics JVM does not offer requests of type " + request.subtype));
    }
  }

  /** Several servers may have one root, and each has a JVM of its own. */
  private void create(Message request) throws IOException {
    long wanted = request.number(RequestKeys.PROCESS_ID);
    if (wanted == serverProcess) {
      agent.send(Message.accepted(request).number(RequestKeys.VALUE, ++clients));
      return;
    }
    agent.send(Message.refused(request, NO_SUCH_SERVER,
        "This is the statistics JVM of process " + serverProcess + ", not of " + wanted));
  }

  private void setDelimiter(Message request) throws IOException {
    String wanted = request.text(RequestKeys.DELIMITER);
    if (wanted.length() != 1) {
      agent.send(Message.refused(request, INVALID_REQUEST_TYPE, "A delimiter is one character"));
      return;
    }
    delimiter = wanted.charAt(0);
    agent.send(Message.accepted(request));
  }

  /** Asks the server, and hands on its answer as it comes. */
  private void handOn(Message request) throws IOException, InterruptedException {
    while (unanswered != null && !answers.isEmpty()) took(answers.remove());
    if (unanswered != null) {
      agent.send(Message.refused(request, NO_ANSWER, "The server has not answered the question before"));
      return;
    }
    request.text(
        RequestKeys.RESOURCE_NAMES, request.text(RequestKeys.RESOURCE_NAMES).replace(delimiter, '\n'));
    ask(request);
    unanswered = request;
    long end = System.nanoTime() + ANSWER_NANOS;
    while (unanswered != null) {
      Message answer = answers.poll(end - System.nanoTime(), TimeUnit.NANOSECONDS);
      if (answer == null) {
        agent.send(Message.refused(request, NO_ANSWER, "The server has not answered in time"));
        return;
      }
      if (took(answer))
        agent.send(answer);
    }
  }

  /** Whether it belongs to the question that is unanswered, which its last part answers. */
  private boolean took(Message answer) {
    if (answer.number(RequestKeys.CORRELATOR) != unanswered.number(RequestKeys.CORRELATOR))
      return false;
    if (!answer.isSample(SampleTypes.PSI)) {
      unanswered = null;
      return true;
    }
    answer.text(Keys.STATISTICS_TEXT,
        loads.summed(answer.number(Keys.STATISTICS_FIGURE), answer.text(Keys.STATISTICS_TEXT)));
    return true;
  }
}
