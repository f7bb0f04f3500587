package zov.collector;

import java.io.PrintWriter;
import java.io.Writer;
import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.time.format.FormatStyle;
import java.util.Locale;
import java.util.logging.Formatter;
import java.util.logging.Level;
import java.util.logging.LogManager;
import java.util.logging.LogRecord;

/**
 * Writes a server's log in the form in which the agent reads logs. For the host's own logging configuration,
 * which makes one for each handler that it names for this class:
 *
 *   [11/23/26 13:05:00:123 +0000] 0000001a OrderServlet W ORDER0002W: a text
 *
 * All lines of a record but the first begin with a blank, so that nothing that is logged passes for another
 * record. A record is cut, and nothing is thrown into the host: what fails in a record stands in it. Any
 * thread calls.
 */
public final class ActivityLogFormatter extends Formatter {
  /** With "locale" behind it, a property of the logging configuration: the agent's locale, as "de-DE". */
  static final String PREFIX = ActivityLogFormatter.class.getName() + ".";
  /** Of the text and the stack trace of a record; fewer bytes than the agent takes of one. */
  static final int MOST_CHARACTERS = 16_384;

  private static final int MOST_COMPONENT = 13;
  /** The agent takes a record with this word for one whose text is on its second line. */
  private static final String LONG_FORM = "source=";

  private static volatile boolean used;

  private final DateTimeFormatter date, time;

  public ActivityLogFormatter() {
    String locale = LogManager.getLogManager().getProperty(PREFIX + "locale");
    // Of the environment's locales this is the one that the agent, too, takes for dates.
    date = DateTimeFormatter.ofLocalizedDate(FormatStyle.SHORT)
               .withLocale(locale == null ? Locale.getDefault(Locale.Category.DISPLAY)
                                          : Locale.forLanguageTag(locale))
               .withZone(ZoneId.systemDefault());
    time = DateTimeFormatter.ofPattern("HH:mm:ss:SSS Z").withZone(ZoneId.systemDefault());
    used = true;
  }

  /** Whether the host's logging has one. Until then its configuration may not have been read. */
  static boolean isUsed() { return used; }

  @Override
  public String format(LogRecord record) {
    String thread = String.format("%08x", record.getThreadID());
    String logger = String.valueOf(record.getLoggerName()).replaceAll("\\s", "_");
    String text = text(record);
    char severity = severity(record.getLevel());
    String head = text.contains(LONG_FORM)
        ? thread + " " + severity + " UOW= " + LONG_FORM + logger + "\n"
        : String.format("%s %-13s %s", thread, component(logger), severity);
    return "[" + stamp(record.getInstant()) + "] " + head + " " + text + "\n";
  }

  /** Some languages have blanks in a date, and readers need none. */
  private String stamp(Instant instant) {
    return date.format(instant).replaceAll("\\h", "") + " " + time.format(instant);
  }

  private static String component(String logger) {
    String last = logger.substring(logger.lastIndexOf('.') + 1);
    return last.isEmpty() ? "-" : last.substring(0, Math.min(last.length(), MOST_COMPONENT));
  }

  private static char severity(Level level) {
    int value = level.intValue();
    return value >= Level.SEVERE.intValue() ? 'E'
        : value >= Level.WARNING.intValue() ? 'W'
        : value >= Level.CONFIG.intValue()  ? 'I'
                                            : 'd';
  }

  /** With no text at all the agent would take it for no record. */
  private String text(LogRecord record) {
    Cut cut = new Cut();
    try (PrintWriter out = new PrintWriter(cut)) {
      String message = formatMessage(record);
      out.print(message == null || message.isBlank() ? "-" : message.strip());
      if (record.getThrown() != null) {
        out.println();
        record.getThrown().printStackTrace(out);
      }
    } catch (Throwable ofTheHost) { // what it logs has methods that fail
      cut.text.append(" (").append(ofTheHost.getClass().getName()).append(" at logging it)");
    }
    return cut.text.toString().stripTrailing().replaceAll("\\R", "\n ");
  }

  /** Takes the first characters. */
  private static final class Cut extends Writer {
    final StringBuilder text = new StringBuilder();

    @Override
    public void write(char[] from, int start, int length) {
      text.append(from, start, Math.min(length, MOST_CHARACTERS - text.length()));
    }

    @Override
    public void flush() {}

    @Override
    public void close() {}
  }
}
