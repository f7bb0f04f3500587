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
 * #OTHER}. A kind of which there was nothing in an interval gives its place up.
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
    private final double[] counts;
    private final double[] nanos;
    private final long[] longest;
    private long since;
    private boolean touched;
    private boolean gone;

    private Account(Kind kind, int ways, long since) {
      this.kind = kind;
      this.since = since;
      counts = new double[ways];
      nanos = new double[ways];
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

    private synchronized boolean goIfIdle() {
      gone = !touched;
      return gone;
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

  private synchronized Account account(Kind kind) {
    Kind known = accounts.containsKey(kind) || accounts.size() < MOST_KINDS ? kind : kind.other();
    return accounts.computeIfAbsent(known, one -> new Account(one, ways, newcomersSince));
  }

  /** Those that have something to tell; who has waited longest comes first. */
  List<Account> accounts() {
    synchronized (this) {
      accounts.values().removeIf(Account::goIfIdle);
      newcomersSince = nanoTime.getAsLong();
    }
    List<Account> all = new ArrayList<>(accounts.values());
    all.sort(Comparator.comparingLong(account -> account.since));
    return all;
  }

  /** Nanoseconds since the account was last taken, or could have come. */
  long age(Account account) { return nanoTime.getAsLong() - account.since; }

  /**
   * What is to be told of each way, and is then taken as told. What is less than one of a count, or than a
   * millisecond, is told when it has become one.
   */
  Tally[] take(Account account) {
    Tally[] taken = new Tally[ways];
    synchronized (account) {
      for (int way = 0; way < ways; way++) {
        Tally tally = taken[way] = new Tally();
        tally.count = (long) account.counts[way];
        tally.millis = (long) (account.nanos[way] / NANOS_PER_MILLI);
        account.counts[way] -= tally.count;
        account.nanos[way] -= tally.millis * NANOS_PER_MILLI;
        if (tally.count > 0) {
          tally.longestMillis = Math.round(account.longest[way] / NANOS_PER_MILLI);
          account.longest[way] = 0;
        }
      }
      account.touched = false;
      account.since = nanoTime.getAsLong();
    }
    return taken;
  }
}
