package zov.collector;

import java.util.ArrayList;
import java.util.List;

/**
 * One request under way: when it began, what it is of, and, where it is measured, what it waited for. It
 * holds texts and numbers only, nothing of the host's.
 *
 * The threads that serve it take turns; the container hands it from one to the next. Delays outside of these
 * threads are not of any request.
 */
final class TracedRequest {
  /** Further parts are counted in the sums only. */
  static final int MOST_PARTS = 100;
  private static final int DELAY_TYPES = DelayType.values().length;

  /** What the request waited for at one place; all its delays there together. */
  static final class Part {
    final DelayType type;
    final String detail1;
    final String detail2;
    long count;
    long nanos;
    long longestNanos;

    private Part(DelayType type, String detail1, String detail2) {
      this.type = type;
      this.detail1 = detail1;
      this.detail2 = detail2;
    }
  }

  final long begunNanos;
  /** How many requests its delays stand for; 0 when they are not measured. */
  final double weight;
  /** Null until the container has told where the request goes. */
  String application;
  /** The path within its application, as it came until the request ends, and from then on its pattern. */
  String name;
  /** By type; null as long as there were none, since most requests wait for nothing that is known here. */
  long[] delayCounts;
  long[] delayNanos;
  List<Part> parts = List.of();

  TracedRequest(long begunNanos, double weight) {
    this.begunNanos = begunNanos;
    this.weight = weight;
  }

  boolean isMeasured() { return weight > 0; }

  /** One of its delays has ended. */
  void delay(DelayType type, long nanos) {
    if (delayCounts == null) {
      delayCounts = new long[DELAY_TYPES];
      delayNanos = new long[DELAY_TYPES];
    }
    delayCounts[type.ordinal()]++;
    delayNanos[type.ordinal()] += nanos;
  }

  /** Where that was; the names are patterns already. */
  void part(DelayType type, long nanos, String detail1, String detail2) {
    Part part = partOf(type, detail1, detail2);
    if (part == null)
      return;
    part.count++;
    part.nanos += nanos;
    part.longestNanos = Math.max(part.longestNanos, nanos);
  }

  private Part partOf(DelayType type, String detail1, String detail2) {
    for (Part each : parts) {
      if (each.type == type && each.detail1.equals(detail1) && each.detail2.equals(detail2))
        return each;
    }
    if (parts.size() == MOST_PARTS)
      return null;
    if (parts.isEmpty())
      parts = new ArrayList<>();
    Part added = new Part(type, detail1, detail2);
    parts.add(added);
    return added;
  }
}
