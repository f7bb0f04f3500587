package zov.collector;

import java.io.ByteArrayInputStream;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Instant;
import java.time.LocalDateTime;
import java.time.ZoneId;
import java.util.logging.FileHandler;
import java.util.logging.Level;
import java.util.logging.LogManager;
import java.util.logging.LogRecord;

/** The host's log as the agent is to find and to read it. */
final class LogTests {
  private static final Instant MORNING =
      LocalDateTime.of(2026, 11, 3, 9, 5, 7, 89_000_000).atZone(ZoneId.systemDefault()).toInstant();

  private LogTests() {}

  static void run() {
    Check.test("a record has the form that the agent reads, whatever is logged", () -> {
      Object[][] cases = {
          {Level.WARNING, "a.b.LongNameOfALogger", "AB1W: {0} runs low\n", "en-US",
              "[11/3/26 09:05:07:089 ZONE] 000000ff LongNameOfALo W AB1W: x runs low\n"},
          {Level.FINE, null, null, "de-DE", "[03.11.26 09:05:07:089 ZONE] 000000ff null          d -\n"},
          {Level.SEVERE, "a.[b c]", "a\r\n[11/3/26\n*", "cs-CZ",
              "[03.11.26 09:05:07:089 ZONE] 000000ff [b_c]         E a\n [11/3/26\n *\n"},
          {Level.INFO, "a.B", "the source=x", "en-US",
              "[11/3/26 09:05:07:089 ZONE] 000000ff I UOW= source=a.B\n the source=x\n"},
      };
      for (Object[] one : cases) {
        configure("zov.collector.ActivityLogFormatter.locale = " + one[3]);
        LogRecord record = record((Level) one[0], (String) one[2]);
        record.setLoggerName((String) one[1]);
        record.setParameters(new Object[] {"x"});
        String line = new ActivityLogFormatter().format(record);
        Check.equal(one[4], line.replaceAll(" [-+][0-9]{4}\\]", " ZONE]"));
      }
    });

    Check.test("a stack trace belongs to its record, which is bounded, and a failure stands in it", () -> {
      LogRecord record = record(Level.SEVERE, "x".repeat(100));
      record.setThrown(new IllegalStateException("y\nz", new RuntimeException("cause")));
      String text = new ActivityLogFormatter().format(record);
      Check.holds(
          text.matches("(?s)[^\n]*x\n java.lang.IllegalState.*: y\n z\n \tat .*\n Caused by.*"), text);
      record.setThrown(new RuntimeException("z".repeat(1_000_000)));
      int length = new ActivityLogFormatter().format(record).length();
      Check.holds(length > 16_000 && length < 20_000, length);
      record.setThrown(new RuntimeException() {
        private static final long serialVersionUID = 1;
        @Override
        public String toString() {
          throw new AssertionError();
        }
      });
      text = new ActivityLogFormatter().format(record);
      Check.holds(text.endsWith("(java.lang.AssertionError at logging it)\n"), text);
    });

    Check.test("the log that is told is the one that is open, also after a rotation", () -> {
      try (JvmTests.Place place = new JvmTests.Place()) {
        Path logs = Files.createDirectories(place.folder.resolve("base/logs"));
        String name = "java.util.logging.FileHandler";
        configure("handlers = " + name, name + ".formatter = zov.collector.ActivityLogFormatter",
            name + ".pattern = " + logs + "/shop%u.log", name + ".limit = 1", name + ".count = 2");
        Check.equal("", ServerLog.file());
        FileHandler handler = new FileHandler();
        for (int i = 0; i < 3; i++) {
          Check.equal(logs + "/shop0.log.0", ServerLog.file());
          handler.publish(record(Level.INFO, "text"));
        }
        handler.close();
        System.setProperty("catalina.base", logs.getParent().toString());
        Files.createFile(logs.resolve("catalina.2026-11-02.log"));
        Check.equal("", ServerLog.file());
        OutputStream today = Files.newOutputStream(logs.resolve("catalina.2026-11-03.log"));
        Check.equal(logs + "/catalina.2026-11-03.log", ServerLog.file());
        today.close();
        System.clearProperty("catalina.base");
        configure();
      }
    });
  }

  private static LogRecord record(Level level, String text) {
    LogRecord record = new LogRecord(level, text);
    record.setInstant(MORNING);
    record.setThreadID(255);
    return record;
  }

  private static void configure(String... lines) throws Exception {
    byte[] text = String.join("\n", lines).getBytes(StandardCharsets.UTF_8);
    LogManager.getLogManager().readConfiguration(new ByteArrayInputStream(text));
  }
}
