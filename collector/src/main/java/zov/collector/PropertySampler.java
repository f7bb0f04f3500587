package zov.collector;

import java.io.IOException;
import java.util.HashMap;
import java.util.Map;
import java.util.Properties;
import java.util.function.Supplier;
import java.util.regex.Pattern;

/**
 * Tells the agent the JVM's properties and environment: all of them at the first poll of a session, later
 * only what is new or different. What looks like a secret goes out as asterisks. One object serves one
 * session.
 */
final class PropertySampler {
  private static final String SECRET_WORDS =
      "passw(?:or)?d|passphrase|secret|token|credential|(?:api|access|private)[._-]?key";
  private static final Pattern SECRET_NAME = Pattern.compile(SECRET_WORDS, Pattern.CASE_INSENSITIVE);
  /** An assignment inside a value, as in a command line: its name stays. */
  private static final Pattern SECRET_ASSIGNMENT = Pattern.compile(
      "([^\\s=;,&]*(?:" + SECRET_WORDS + ")[^\\s=;,&]*=)[^\\s;,&]+", Pattern.CASE_INSENSITIVE);
  private static final String HIDDEN = "********";

  private final long processId;
  private final Supplier<Map<String, String>> properties;
  private final Supplier<Map<String, String>> environment;
  private final Map<String, String> toldProperties = new HashMap<>();
  private final Map<String, String> toldVariables = new HashMap<>();

  PropertySampler(
      long processId, Supplier<Map<String, String>> properties, Supplier<Map<String, String>> environment) {
    this.processId = processId;
    this.properties = properties;
    this.environment = environment;
  }

  /** The JVM's own properties, without those that are not text. */
  static Map<String, String> jvmProperties() {
    Properties all = System.getProperties();
    Map<String, String> texts = new HashMap<>();
    for (String name : all.stringPropertyNames()) texts.put(name, all.getProperty(name, ""));
    return texts;
  }

  void sample(SampleSink sink) throws IOException {
    tell(SampleTypes.JAVA_PROPERTY, properties.get(), toldProperties, sink);
    tell(SampleTypes.ENVIRONMENT_VARIABLE, environment.get(), toldVariables, sink);
  }

  private void tell(int sampleType, Map<String, String> present, Map<String, String> told, SampleSink sink)
      throws IOException {
    for (Map.Entry<String, String> entry : present.entrySet()) {
      String name = entry.getKey();
      if (entry.getValue().equals(told.put(name, entry.getValue())))
        continue;
      sink.send(Message.sample(sampleType)
                    .number(Keys.SERVER_NUMBER, processId)
                    .text(Keys.PROPERTY_NAME, Abbreviations.escape(name))
                    .text(Keys.PROPERTY_VALUE, Abbreviations.escape(withoutSecrets(name, entry.getValue()))));
    }
  }

  static String withoutSecrets(String name, String value) {
    if (SECRET_NAME.matcher(name).find())
      return HIDDEN;
    return SECRET_ASSIGNMENT.matcher(value).replaceAll("$1" + HIDDEN);
  }
}
