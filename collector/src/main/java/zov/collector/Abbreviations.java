package zov.collector;

import java.io.IOException;
import java.util.HashMap;
import java.util.Map;

/**
 * The short forms of one session: the agent learns each long name once, and "#" with a number stands for it
 * from then on. A name that begins with "#" itself would be taken for a short form, so it gets one too, or
 * its "#" is doubled.
 */
final class Abbreviations {
  static final int LONGEST_PLAIN_NAME = 32;
  static final int MOST_NAMES = 10_000;

  private final Map<String, Integer> numbers = new HashMap<>();
  private final long processId;

  Abbreviations(long processId) { this.processId = processId; }

  /** The form in which a sample carries the name; a new short form is told through the sink before. */
  String shorten(String name, SampleSink sink) throws IOException {
    if (name.length() <= LONGEST_PLAIN_NAME && !name.startsWith("#"))
      return name;
    Integer number = numbers.get(name);
    if (number == null) {
      if (numbers.size() == MOST_NAMES)
        return escape(name);
      number = numbers.size() + 1;
      sink.send(Message.sample(SampleTypes.STRING_ABBREVIATION)
                    .number(Keys.PROCESS_ID, processId)
                    .text(Keys.FULL_STRING, name)
                    .text(Keys.ABBREVIATION, "#" + number));
      numbers.put(name, number);
    }
    return "#" + number;
  }

  /** The form of a text that is sent in full. */
  static String escape(String text) { return text.startsWith("#") ? "#" + text : text; }
}
