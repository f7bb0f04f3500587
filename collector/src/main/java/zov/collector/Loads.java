package zov.collector;

import java.util.LinkedHashMap;
import java.util.Map;

/**
 * Makes sums of loads. The agent reckons a mean from the difference of two texts, each the sum of all
 * measurements so far and their count ("12/3"), so that it must not matter who asked how often in between.
 * Not thread-safe.
 */
final class Loads {
  private static final int MOST = 20_000;

  private static final class Sum {
    long total;
    long count;
  }

  /** By resource and keyword; who has not been measured for longest goes first. */
  private final Map<String, Sum> sums = new LinkedHashMap<>(16, 0.75f, true) {
    private static final long serialVersionUID = 1;

    @Override
    protected boolean removeEldestEntry(Map.Entry<String, Sum> eldest) {
      return size() > MOST;
    }
  };

  /** The text of {@link Figures}, with the sums in place of its loads. */
  String summed(long sampleType, String text) {
    int first = text.indexOf("\n" + Figures.LOAD);
    if (first < 0)
      return text;
    String identity = sampleType + "\n" + text.substring(0, first + 1);
    StringBuilder out = new StringBuilder(text.length());
    for (String line : text.split("\n")) {
      if (line.charAt(0) != Figures.LOAD) {
        out.append(line).append('\n');
        continue;
      }
      int equals = line.indexOf('=');
      String keyword = line.substring(1, equals);
      Sum sum = sums.computeIfAbsent(identity + keyword, unseen -> new Sum());
      sum.total += Long.parseLong(line.substring(equals + 1));
      sum.count++;
      out.append(keyword).append('=').append(sum.total).append('/').append(sum.count).append('\n');
    }
    return out.toString();
  }
}
