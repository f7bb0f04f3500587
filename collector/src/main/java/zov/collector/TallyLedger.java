package zov.collector;

import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentMap;
import java.util.function.LongSupplier;

/**
 * Keeps how often something was done, how long that took and the longest of it, by kind, as far as the agent
 * has not been told. Of {@link #MOST_KINDS} kinds, that is; what is of further ones is kept under {@link
 * #OTHER}. A kind of which there was nothing in an interval gives its place up, unless there is room for the
 * fractions that are left of it.
 *
 * The host's threads add. They wait for each other only when they add to the same kind, whose account is its
 * own lock, or bring a new kind; nothing is done under a lock but that. The rest is the collector's thread's.
 */
final class TallyLedger {
  static final int MOST_KINDS = 1000;
  static final String OTHER = "other";

  private static final double NANOS_PER_MILLI = 1e6;

  /** What is told apart: a number, and names. A value. */
  static final class Kind {
    final int number;
    final List<String> names;

    Kind(int number, String... names) {
      this.number = number;
      this.names = List.of(names);
    }

    private Kind other() {
      return new Kind(number, Collections.nCopies(names.size(), OTHER).toArray(new String[0]));
    }

    @Override
    public boolean equals(Object object) {
      return object instanceof Kind && ((Kind) object).number == number
          && ((Kind) object).names.equals(names);
    }

    @Override
    public int hashCode() {
      return 31 * names.hashCode() + number;
    }
  }

  /** What was done in one way. */
  static final class Tally {
    long count;
    long millis;
    /** Unknown when there was none. */
    long longestMillis = Interval.UNKNOWN;
  }

  /** The ways in which one kind of thing was done. */
  static final class Account {
    final Kind kind;
    /** Since it was last taken; what of that was not told for being a fraction is the rest. */
    private final double[] counts;
    private final double[] nanos;
    private final double[] countRests;
    private final double[] nanoRests;
    private final long[] longest;
    private long since;
    private boolean touched;
    private volatile boolean gone;

    private Account(Kind kind, int ways, long since) {
      this.kind = kind;
      this.since = since;
      counts = new double[ways];
      nanos = new double[ways];
      countRests = new double[ways];
      nanoRests = new double[ways];
      longest = new long[ways];
    }

    private synchronized boolean add(int way, double count, double total, long longestOne) {
      if (gone)
        return false;
      touched = true;
      counts[way] += count;
      nanos[way] += total;
      longest[way] = Math.max(longest[way], longestOne);
      return true;
    }

    /** It has nothing to tell, and its next interval begins now; what is left stays if there is room. */
    private synchronized boolean goIfIdle(boolean roomy, long now) {
      if (touched)
        return false;
      since = now;
      gone = !roomy || !hasRest();
      return gone;
    }

    private boolean hasRest() {
      for (int way = 0; way < counts.length; way++) {
        if (counts[way] + nanos[way] + countRests[way] + nanoRests[way] > 0)
          return true;
      }
      return false;
    }

    private synchronized boolean isTouched() { return touched; }

    private Tally take(int way, Scale scale) {
      Tally tally = new Tally();
      double allOfCount = countRests[way] + scale.counts * counts[way];
      double allOfNanos = nanoRests[way] + scale.times * nanos[way];
      counts[way] = nanos[way] = 0;
      tally.count = (long) allOfCount;
      tally.millis = (long) (allOfNanos / NANOS_PER_MILLI);
      countRests[way] = allOfCount - tally.count;
      nanoRests[way] = allOfNanos - tally.millis * NANOS_PER_MILLI;
      if (tally.count > 0) {
        tally.longestMillis = Math.round(longest[way] / NANOS_PER_MILLI);
        longest[way] = 0;
      }
      return tally;
    }

    /** What to scale by, of what was added in two ways and not taken; null when the second has none. */
    synchronized Scale scale(int all, int measured) {
      return counts[measured] > 0 ? Scale.of(counts[all], nanos[all], counts[measured], nanos[measured])
                                  : null;
    }
  }

  private final int ways;
  private final LongSupplier nanoTime;
  private final ConcurrentMap<Kind, Account> accounts = new ConcurrentHashMap<>();
  private volatile long newcomersSince;

  TallyLedger(int ways, LongSupplier nanoTime) {
    this.ways = ways;
    this.nanoTime = nanoTime;
    clear();
  }

  /** Nothing is kept; intervals begin now. */
  void clear() {
    accounts.clear();
    newcomersSince = nanoTime.getAsLong();
  }

  /** One that was done, in a way below the ledger's number of them, and stands for so many. */
  void add(Kind kind, int way, double weight, long elapsedNanos) {
    add(kind, way, weight, weight * elapsedNanos, elapsedNanos);
  }

  /** Several at once: how many, their time and the longest of it. */
  void add(Kind kind, int way, double count, double totalNanos, long longestNanos) {
    Account account = accounts.get(kind);
    while (account == null || !account.add(way, count, totalNanos, longestNanos)) account = account(kind);
  }

  /** From then on, what nobody needs to tell apart is better kept together. */
  boolean isHalfFull() { return accounts.size() >= MOST_KINDS / 2; }

  private Account account(Kind kind) {
    Account other = accounts.size() < MOST_KINDS ? null : accounts.get(kind.other());
    return other == null || other.gone ? newAccount(kind) : other;
  }

  private synchronized Account newAccount(Kind kind) {
    Kind known = accounts.containsKey(kind) || accounts.size() < MOST_KINDS ? kind : kind.other();
    return accounts.computeIfAbsent(known, one -> new Account(one, ways, newcomersSince));
  }

  /** Those that have something to tell; who has waited longest comes first. */
  List<Account> accounts() {
    List<Account> all = new ArrayList<>();
    synchronized (this) {
      long now = nanoTime.getAsLong();
      boolean roomy = !isHalfFull();
      accounts.values().removeIf(account -> account.goIfIdle(roomy, now));
      newcomersSince = now;
    }
    for (Account account : accounts.values()) {
      if (account.isTouched())
        all.add(account);
    }
    all.sort(Comparator.comparingLong(account -> account.since));
    return all;
  }

  /** Nanoseconds since the account was last taken, or could have come. */
  long age(Account account) { return nanoTime.getAsLong() - account.since; }

  /**
   * What is to be told of each way, and is then taken as told. What is less than one of a count, or than a
   * millisecond, is told when it has become one.
   */
  Tally[] take(Account account) { return take(account, 0, Scale.NONE); }

  /** The ways from the first scaled one on are scaled so; without a scale they stay as they are. */
  Tally[] take(Account account, int firstScaled, Scale scale) {
    Tally[] taken = new Tally[ways];
    synchronized (account) {
      for (int way = 0; way < ways; way++) {
        Scale by = way < firstScaled ? Scale.NONE : scale;
        taken[way] = by == null ? new Tally() : account.take(way, by);
      }
      account.touched = false;
      account.since = nanoTime.getAsLong();
    }
    return taken;
  }
}
