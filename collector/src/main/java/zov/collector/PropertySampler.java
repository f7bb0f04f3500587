package zov.collector;

import java.io.IOException;
import java.util.ArrayList;
import java.util.List;
import java.util.function.UnaryOperator;

/**
 * Tells the agent the JVM's properties and environment, as far as {@link AllowedNames} has them: all at the
 * first poll of a session, later only what is new or different. What looks like a secret in them goes out as
 * asterisks. One object serves one session.
 */
final class PropertySampler {
  /** A longer value is cut, and ends in {@link #CUT}. */
  static final int MOST_CHARACTERS = 16_384;
  static final String CUT = "...";

  private final long processId;
  private final List<Entry> entries = new ArrayList<>();
  private int next;

  private static final class Entry {
    final int sampleType;
    final String name;
    final UnaryOperator<String> source;
    String told;

    Entry(int sampleType, String name, UnaryOperator<String> source) {
      this.sampleType = sampleType;
      this.name = name;
      this.source = source;
    }
  }

  /** The sources give null for a name that is not set. */
  PropertySampler(long processId, UnaryOperator<String> properties, UnaryOperator<String> environment) {
    this.processId = processId;
    for (String name : AllowedNames.PROPERTIES)
      entries.add(new Entry(SampleTypes.JAVA_PROPERTY, name, properties));
    for (String name : AllowedNames.VARIABLES)
      entries.add(new Entry(SampleTypes.ENVIRONMENT_VARIABLE, name, environment));
  }

  /** Goes on where the poll before had to end. */
  void sample(SampleSink sink) throws IOException {
    for (int i = 0; i < entries.size(); i++) {
      sink.progress();
      tell(entries.get(next), sink);
      next = (next + 1) % entries.size();
    }
  }

  private void tell(Entry entry, SampleSink sink) throws IOException {
    String value = entry.source.apply(entry.name);
    if (value == null || value.equals(entry.told))
      return;
    sink.send(Message.sample(entry.sampleType)
                  .number(Keys.SERVER_NUMBER, processId)
                  .text(Keys.PROPERTY_NAME, Abbreviations.escape(entry.name))
                  .text(Keys.PROPERTY_VALUE, Abbreviations.escape(shown(value))));
    entry.told = value;
  }

  private static String shown(String value) {
    if (value.length() <= MOST_CHARACTERS)
      return Masking.withoutSecrets(value);
    return Masking.withoutSecrets(value.substring(0, MOST_CHARACTERS)) + CUT;
  }
}
