package zov.collector;

import java.util.function.BooleanSupplier;
import java.util.function.LongSupplier;

/**
 * Looks for a server that this collector knows, until it is found. A JVM starts its server after the
 * collector, so the search is in vain only after a minute. Used by the collector's thread only.
 */
final class ServerSearch {
  static final long PATIENCE_NANOS = 60_000_000_000L;

  private final BooleanSupplier finder;
  private final LongSupplier nanoTime;
  private final long begun;
  private boolean found;
  private boolean impossible;

  ServerSearch(BooleanSupplier finder, LongSupplier nanoTime) {
    this.finder = finder;
    this.nanoTime = nanoTime;
    begun = nanoTime.getAsLong();
  }

  /** Looks again, unless the server has been found. */
  boolean isInVain() {
    if (!found && !impossible)
      look();
    return impossible || (!found && nanoTime.getAsLong() - begun >= PATIENCE_NANOS);
  }

  private void look() {
    try {
      found = finder.getAsBoolean();
    } catch (LinkageError noManagementModule) {
      impossible = true;
    }
  }

  String reason() {
    return impossible
        ? "This JVM runs without the module java.management, by which servers tell of their requests; "
            + "the option --add-modules java.management adds it"
        : "No server that this collector knows (Tomcat, by its MBeans) was found in this JVM within "
            + PATIENCE_NANOS / 1_000_000_000 + " seconds, so no requests are collected; the search goes on";
  }
}
