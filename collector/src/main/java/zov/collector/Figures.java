package zov.collector;

import java.util.ArrayList;
import java.util.List;

/**
 * What is told of one resource, as lines of keyword and value: its names, which identify it, its loads, its
 * counts. A figure that the server does not know (absent, or below zero) is left out.
 *
 * A count since the server's start and a setting are told as they are. A load is a measurement at one
 * moment; its line is marked with {@link #LOAD} until {@link Loads} has made sums of it. Not thread-safe.
 */
final class Figures {
  static final char LOAD = '~';
  static final int MOST_NAME_CHARACTERS = 1_000;

  /** The sample type. */
  final int type;
  final List<String> names = new ArrayList<>();
  private final StringBuilder identity = new StringBuilder();
  private final StringBuilder loads = new StringBuilder();
  private final StringBuilder counts = new StringBuilder();

  Figures(int type) { this.type = type; }

  Figures name(String keyword, String name) {
    names.add(name);
    identity.append(keyword).append('=').append(written(name)).append('\n');
    return this;
  }

  /** The line of one resource of several. */
  Figures detail() { return part(0); }

  /** The line of all of them together. */
  Figures summary() { return part(1); }

  private Figures part(int summary) {
    identity.append("summary=").append(summary).append('\n');
    return this;
  }

  Figures count(String keyword, Long value) {
    if (isKnown(value))
      counts.append(keyword).append('=').append(value).append('\n');
    return this;
  }

  Figures load(String keyword, Long value) {
    if (isKnown(value))
      loads.append(LOAD).append(keyword).append('=').append(value).append('\n');
    return this;
  }

  /** Told as a total and how many went into it, of which the agent makes a mean. */
  Figures mean(String keyword, Long total, Long count) {
    if (isKnown(total) && isKnown(count))
      counts.append(keyword).append('=').append(total).append('/').append(count).append('\n');
    return this;
  }

  boolean isEmpty() { return loads.length() + counts.length() == 0; }

  /** Type and names. */
  String identity() { return type + "\n" + identity; }

  String text() { return identity.toString() + loads + counts; }

  /** The names that are wanted, in their order; an empty one stands for all. */
  boolean matches(int wantedType, String[] wantedNames) {
    if (wantedType != Readings.ALL && wantedType != type)
      return false;
    for (int i = 0; i < Math.min(wantedNames.length, names.size()); i++) {
      if (!wantedNames[i].isEmpty() && !wantedNames[i].equals(names.get(i)))
        return false;
    }
    return true;
  }

  static boolean isKnown(Long value) { return value != null && value >= 0; }

  /** A line ends at its end, and its value at a second "=". */
  private static String written(String name) {
    String cut = name.length() > MOST_NAME_CHARACTERS ? name.substring(0, MOST_NAME_CHARACTERS) : name;
    return Masking.withoutSecrets(cut.replaceAll("\\p{Cntrl}", " ").replace('=', ':'));
  }
}
