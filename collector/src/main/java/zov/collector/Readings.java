package zov.collector;

import java.io.IOException;
import java.util.HashSet;
import java.util.Set;

/**
 * One reading of what the JVM and its server count: of one sample type or of all. Runs on the thread that
 * serves the statistics JVM.
 *
 * What stands in several MBean servers is told once. The reading ends early when its processor time is over,
 * when it has told {@link #MOST_RESOURCES}, or when an MBean server fails.
 */
final class Readings {
  /** Not one sample type, but all. */
  static final int ALL = 0;
  static final int MOST_RESOURCES = 10_000;
  private static final int BYTES_PER_KIB = 1024;

  interface Sink {
    void tell(Figures figures) throws IOException;
  }

  private final Budget budget;
  private final int wantedType;
  private final String[] wantedNames;
  private final Sink sink;
  private final Set<String> told = new HashSet<>();
  private String failure = "";

  /** The budget has begun. An empty name stands for all. */
  Readings(Budget budget, int wantedType, String[] wantedNames, Sink sink) {
    this.budget = budget;
    this.wantedType = wantedType;
    this.wantedNames = wantedNames;
    this.sink = sink;
  }

  boolean wants(int type) { return wantedType == ALL || wantedType == type; }

  /** Why the reading has not come to its end; empty when it has. */
  String failure() { return failure; }

  void run() throws IOException {
    try {
      tell(memory());
      ServerFigures.read(this);
    } catch (RuntimeException endedEarly) {
      failure = endedEarly.toString();
    } catch (LinkageError noManagementModule) {
      // The JVM alone is told of.
    }
  }

  /** To be called before each MBean is read. */
  void progress() { budget.check(); }

  void tell(Figures figures) throws IOException {
    if (figures.isEmpty() || !figures.matches(wantedType, wantedNames) || !told.add(figures.identity()))
      return;
    if (told.size() > MOST_RESOURCES)
      throw new IllegalStateException("there are more than " + MOST_RESOURCES + " resources");
    sink.tell(figures);
  }

  private static Figures memory() {
    Runtime runtime = Runtime.getRuntime();
    long total = runtime.totalMemory();
    long free = runtime.freeMemory();
    return new Figures(SampleTypes.APPLICATION_SERVER)
        .count("freeMemory", free / BYTES_PER_KIB)
        .count("totalMemory", total / BYTES_PER_KIB)
        .count("usedMemory", (total - free) / BYTES_PER_KIB);
  }
}
