package zov.collector;

import java.io.IOException;
import java.net.ProtocolException;

/**
 * One session with the agent, from the first ping to the end of the connection. The agent asks and the
 * collector answers; in the middle of a poll that takes long it pings, so that the agent waits on.
 *
 * Whether requests can be collected is answered when the agent asks for it. When that answer does not hold
 * any longer the session ends, since the next one asks again.
 *
 * Any message that is not a request of the agent ends the session. Runs on the collector's thread.
 */
final class Session {
  /** The agent's answer to the ping was no; its message says why. */
  static final class RefusedException extends IOException {
    private static final long serialVersionUID = 1;

    RefusedException(String message) { super(message); }
  }

  /** What was answered the agent is not so any longer. */
  static final class OutdatedException extends IOException {
    private static final long serialVersionUID = 1;

    OutdatedException(String message) { super(message); }
  }

  /** Build levels that the agent accepts: at least these. */
  static final long BUILD_LEVEL = 6005159;
  static final long WORKLOAD_BUILD_LEVEL = 6005164;

  private static final long REQUEST_DATA = 0x100000;
  private static final long GC_DATA = 0x2000;
  private static final long LEVEL_ONE = 0x300;
  private static final long LEVEL_TWO = 0x7F00;
  private static final long GC_STOP = 2;

  private static final long EVERY_REQUEST_PERCENT = 100;

  /** Return codes of the agent's. */
  private static final long NOT_COLLECTING = 21;
  private static final long PROCESS_NOT_STARTED = 43;
  private static final long GC_CAPTURE_NOT_AVAILABLE = 119;
  private static final long GC_EXCEPTION = 120;
  private static final long INVALID_REQUEST_TYPE = 165;

  private static final int LOOK_UP_MILLIS = 5_000;
  private static final int ANSWER_MILLIS = 60_000;
  private static final long QUIET_NANOS = 20_000_000_000L;

  private final Connection connection;
  private final PropertySampler properties;
  private final RequestSampler requests;
  private final GcSampler collections;
  private final long processId;
  private final Budget budget;
  private final ServerSearch search;
  private final StatisticsJvm statistics;
  private final CollectorLog log;
  private final SampleSink sink = new SampleSink() {
    @Override
    public void send(Message sample) throws IOException {
      pingIfQuiet();
      connection.send(sample);
    }

    @Override
    public void progress() throws IOException {
      pingIfQuiet();
      budget.check();
    }
  };
  private long nextCorrelator = 1;
  private boolean requestsAsked;
  private boolean requestsRefused;

  Session(Connection connection, long processId, PropertySampler properties, RequestSampler requests,
      GcSampler collections, Budget budget, ServerSearch search, StatisticsJvm statistics, CollectorLog log) {
    this.connection = connection;
    this.processId = processId;
    this.properties = properties;
    this.requests = requests;
    this.collections = collections;
    this.budget = budget;
    this.search = search;
    this.statistics = statistics;
    this.log = log;
  }

  /** Introduces this JVM; returns when the agent has accepted it. */
  void greet(Options options, String platform, String locale) throws IOException {
    exchangePing(ping()
                     .number(RequestKeys.PROFILER_BUILD_LEVEL, BUILD_LEVEL)
                     .number(RequestKeys.WORKLOAD_BUILD_LEVEL, WORKLOAD_BUILD_LEVEL)
                     .text(RequestKeys.WORKING_DIRECTORY, System.getProperty("user.dir", ""))
                     .text(RequestKeys.APP_SERVER_NAME, options.serverName)
                     .text(RequestKeys.SERVER_ROOT_DIRECTORY, options.serverRoot)
                     .text(RequestKeys.ALIAS_NAME, platform)
                     .text(RequestKeys.LOCALE_NAME, locale));
  }

  /** Waits for the agent's next request, however long, and answers it. */
  void serveOne() throws IOException {
    do {
      statistics.check();
      collections.check();
      if (requestsAsked && !requests.isTraced() && requestsRefused != search.isInVain())
        throw new OutdatedException(search.isInVain()
                ? search.reason()
                : "The server has been found: the agent may ask again for its requests");
    } while (!connection.awaitFrame(LOOK_UP_MILLIS));
    Message request = connection.receive(LOOK_UP_MILLIS);
    if (request.dataType != Message.REQUEST || request.subtype == RequestTypes.RESPONSE_TYPE)
      throw unexpected(request);
    switch (request.subtype) {
      case RequestTypes.PING_REQUEST_TYPE:
        accept(request);
        break;
      case RequestTypes.POLL_REQUEST_TYPE:
        poll(request);
        break;
      case RequestTypes.COLLECT_WORKLOAD_TYPE:
        collectWorkload(request);
        break;
      case RequestTypes.COLLECT_GC_DATA_TYPE:
        collectGcData(request);
        break;
      case RequestTypes.INITIATE_REMOTE_PSI_CLIENT_TYPE:
        startStatistics(request);
        break;
      default:
        refuse(request, INVALID_REQUEST_TYPE,
            "This collector does not offer requests of type " + request.subtype);
    }
    connection.flush();
  }

  private void poll(Message request) throws IOException {
    long wanted = request.number(RequestKeys.POLL_TYPE);
    budget.begin();
    try {
      if ((wanted & GC_DATA) != 0)
        collections.sample(sink);
      if ((wanted & REQUEST_DATA) != 0) {
        requests.sample(sink);
        properties.sample(sink);
      }
    } catch (RuntimeException failure) {
      log.line("A poll is answered in part: " + failure);
    }
    connection.send(
        Message.sample(SampleTypes.END).number(Keys.CORRELATOR, request.number(RequestKeys.CORRELATOR)));
  }

  private void collectWorkload(Message request) throws IOException {
    long level = request.number(RequestKeys.COLLECT_LEVEL);
    if (level != 0 && level != LEVEL_ONE && level != LEVEL_TWO) {
      refuse(request, INVALID_REQUEST_TYPE,
          "The collection level " + level + " is not known; known are 0, " + LEVEL_ONE + " and " + LEVEL_TWO);
      return;
    }
    requestsAsked = level != 0;
    if (level == 0) {
      requests.stop();
      log.line("The agent has stopped the collection of request data");
      accept(request);
      return;
    }
    long percent = Math.max(0, Math.min(EVERY_REQUEST_PERCENT, request.number(RequestKeys.SAMPLING_RATE)));
    boolean traced =
        requests.trace(level == LEVEL_TWO ? RequestCounting.DELAYS : RequestCounting.ENTRIES, (int) percent);
    requestsRefused = !traced && search.isInVain();
    if (requestsRefused) {
      refuse(request, NOT_COLLECTING, search.reason());
      return;
    }
    if (!traced)
      requests.start();
    log.line("The agent collects request data at level " + level + "; every request is counted, "
        + (!traced                   ? "as the server does"
                : level == LEVEL_TWO ? "as it is traced; delays are measured on " + percent + " percent"
                                     : "as it is traced"));
    connection.send(
        Message.accepted(request).number(RequestKeys.VALUE, traced ? percent : EVERY_REQUEST_PERCENT));
  }

  private void collectGcData(Message request) throws IOException {
    if (request.number(RequestKeys.GC_ACTION) == GC_STOP) {
      collections.stop();
      log.line("The agent has stopped the collection of garbage collection data");
      accept(request);
      return;
    }
    try {
      if (!collections.start(request.number(RequestKeys.GC_MAX_RECORDS))) {
        refuse(request, GC_CAPTURE_NOT_AVAILABLE,
            "This JVM runs without the module jdk.management, by which it tells of its garbage collections; "
                + "the option --add-modules jdk.management adds it");
        return;
      }
    } catch (RuntimeException failure) {
      refuse(request, GC_EXCEPTION, "No garbage collection data is collected: " + failure);
      return;
    }
    log.line("The agent collects garbage collection data");
    accept(request);
  }

  private void startStatistics(Message request) throws IOException {
    String failure = statistics.start(
        request.number(RequestKeys.LISTENER_PORT), request.number(RequestKeys.STATISTICS_TOKEN));
    if (failure.isEmpty()) {
      accept(request);
      return;
    }
    refuse(request, PROCESS_NOT_STARTED, "No statistics JVM is started: " + failure);
  }

  private Message ping() {
    return Message.request(RequestTypes.PING_REQUEST_TYPE)
        .number(RequestKeys.CORRELATOR, nextCorrelator++)
        .number(RequestKeys.PROCESS_ID, processId);
  }

  private void pingIfQuiet() throws IOException {
    if (connection.quietFor() >= QUIET_NANOS)
      exchangePing(ping());
  }

  private void exchangePing(Message ping) throws IOException {
    connection.send(ping);
    Message answer = connection.receive(ANSWER_MILLIS);
    if (answer.dataType != Message.REQUEST || answer.subtype != RequestTypes.RESPONSE_TYPE
        || answer.number(RequestKeys.CORRELATOR) != ping.number(RequestKeys.CORRELATOR)) {
      throw unexpected(answer);
    }
    if (answer.number(RequestKeys.STATUS) != Message.STATUS_ACCEPTED)
      throw refusal(answer);
  }

  private static RefusedException refusal(Message answer) {
    long code = answer.number(RequestKeys.VALUE);
    String reason = code == 104 || code == 105 ? "it wants another build level"
        : code == 174                          ? "a collector of that name and root is connected already"
                                               : "it gives no reason that is known here";
    return new RefusedException("The agent refuses this collector with code " + code + ": " + reason);
  }

  private static ProtocolException unexpected(Message message) {
    return new ProtocolException("The agent has sent a message of data type " + message.dataType
        + " and type " + message.subtype + ", which is not expected here");
  }

  private void accept(Message request) throws IOException { connection.send(Message.accepted(request)); }

  private void refuse(Message request, long code, String reason) throws IOException {
    log.line("A request of the agent is refused: " + reason);
    connection.send(Message.refused(request, code, reason));
  }
}
