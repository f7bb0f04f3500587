package zov.collector;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.function.LongSupplier;

/**
 * Keeps which requests have ended and the agent has not been told, by application and pattern of their paths.
 * It lasts longer than a session, so that an agent which comes back is told what happened meanwhile. For
 * locks and limits see {@link TallyLedger}. The host's threads tell what has ended; the rest is the
 * collector's thread's.
 *
 * Anybody can make up addresses; so what was not found is kept under one name of its application once half of
 * the room is taken.
 */
final class TraceLedger {
  /** Ways of the tally; those of delays come behind, by their types. */
  static final int ALL = 0;
  static final int ERRORS = 1;
  /** Those whose delays were measured. */
  static final int MEASURED = 2;
  static final int FIRST_DELAY = 3;

  private static final int ALL_PERCENT = 100;
  private static final int FIRST_ERROR = 500;
  private static final int NOT_FOUND = 404;
  private static final DelayType[] delays = DelayType.values();

  private static final int MOST_KEPT_PATHS = 1000;
  private static final int LONGEST_KEPT_PATH = 200;

  final TallyLedger requests;
  private final Map<String, String> patterns = new ConcurrentHashMap<>();
  /** By kind, as last taken. */
  private final Map<TallyLedger.Kind, Scale> scales = new HashMap<>();
  private boolean delaysTold;
  private Scale expected = Scale.NONE;

  TraceLedger(LongSupplier nanoTime) { requests = new TallyLedger(FIRST_DELAY + delays.length, nanoTime); }

  /** A request has ended; from now on its names are those of the tables. */
  void ended(TracedRequest request, long nanos, int status) {
    if (request.application == null)
      request.application = TallyLedger.OTHER;
    boolean nameless = request.name == null || (status == NOT_FOUND && requests.isHalfFull());
    request.name = nameless ? TallyLedger.OTHER : patternOf(request.name);
    TallyLedger.Kind kind = new TallyLedger.Kind(0, request.application, request.name);
    requests.add(kind, ALL, 1, nanos);
    if (status >= FIRST_ERROR)
      requests.add(kind, ERRORS, 1, nanos);
    if (!request.isMeasured())
      return;
    requests.add(kind, MEASURED, 1, nanos);
    for (int i = 0; request.delayCounts != null && i < delays.length; i++) {
      if (request.delayCounts[i] > 0)
        requests.add(kind, FIRST_DELAY + i, request.delayCounts[i], request.delayNanos[i], 0);
    }
  }

  List<TallyLedger.Account> accounts() {
    if (scales.size() > TallyLedger.MOST_KINDS)
      scales.clear();
    return requests.accounts();
  }

  /** What is to be told of each way, delays as scaled to all; where none was measured, of them nothing. */
  TallyLedger.Tally[] take(TallyLedger.Account account) {
    synchronized (account) {
      Scale scale = account.scale(ALL, MEASURED);
      if (scale != null)
        scales.put(account.kind, scale);
      return requests.take(account, FIRST_DELAY, scale);
    }
  }

  /** The same paths come again and again, and a pattern takes longer than to look it up. */
  private String patternOf(String path) {
    String known = patterns.get(path);
    if (known != null)
      return known;
    String pattern = NamePatterns.ofPath(path);
    if (path.length() <= LONGEST_KEPT_PATH) {
      if (patterns.size() >= MOST_KEPT_PATHS)
        patterns.clear();
      patterns.put(path, pattern);
    }
    return pattern;
  }

  /** By how much the parts of such requests, as they are named in the tables, are to be scaled. */
  Scale scaleOf(String application, String name) {
    return scales.getOrDefault(new TallyLedger.Kind(0, application, name), expected);
  }

  /** Whether delays are known at all, and on how many requests they are measured from now on. */
  void tellDelays(boolean known, int percent) {
    delaysTold = known;
    expected = percent > 0 ? Scale.of(ALL_PERCENT, ALL_PERCENT, percent, percent) : Scale.NONE;
  }

  boolean tellsDelays() { return delaysTold; }

  void clear() {
    requests.clear();
    scales.clear();
    patterns.clear();
  }
}
