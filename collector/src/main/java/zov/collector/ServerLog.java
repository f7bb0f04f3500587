package zov.collector;

import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.time.Instant;
import java.util.function.BooleanSupplier;
import java.util.logging.LogManager;
import java.util.regex.Pattern;

/**
 * Which file the host writes its log to: the one of a handler that its logging configuration names for
 * {@link ActivityLogFormatter}, else Tomcat's own log. It is one that this JVM has open at this moment, so
 * that no other's is named; nothing is opened. Systems without /proc tell none.
 */
final class ServerLog {
  private static final String CONFIGURATION = "java.util.logging.config.file";
  private static final long YOUNG_MILLIS = 30_000;
  private static final int LONGEST_WAIT_MILLIS = 10_000;
  private static final int STEP_MILLIS = 100;
  private static final Path OPEN_FILES = Paths.get("/proc/self/fd");

  private ServerLog() {}

  /**
   * Waits for it a little, while it is asked for, in a JVM that has just been started and has a configuration
   * to come to.
   */
  static String awaited(BooleanSupplier isAskedFor) throws InterruptedException {
    String file = file();
    for (int waited = 0;
         file.isEmpty() && waited < LONGEST_WAIT_MILLIS && isAskedFor.getAsBoolean() && mayStillCome();
         waited += STEP_MILLIS) {
      Thread.sleep(STEP_MILLIS);
      file = file();
    }
    return file;
  }

  private static boolean mayStillCome() {
    Instant young = Instant.now().minusMillis(YOUNG_MILLIS);
    return System.getProperty(CONFIGURATION) != null
        && ProcessHandle.current().info().startInstant().filter(young::isBefore).isPresent();
  }

  /** Empty when none is known. */
  static String file() {
    try {
      String file = ActivityLogFormatter.isUsed() ? ofHandlers() : "";
      String base = System.getProperty("catalina.base");
      return file.isEmpty() && base != null ? open(Paths.get(base, "logs"), "catalina\\..*\\.log") : file;
    } catch (IOException | RuntimeException | LinkageError notKnown) {
      return "";
    }
  }

  private static String ofHandlers() throws IOException {
    LogManager manager = LogManager.getLogManager();
    String handlers = manager.getProperty("handlers");
    if (handlers == null)
      return "";
    for (String handler : handlers.split("[\\s,]+")) {
      if (!ActivityLogFormatter.class.getName().equals(manager.getProperty(handler + ".formatter")))
        continue;
      String pattern = manager.getProperty(handler + ".pattern");
      String file = pattern == null ? "" : ofPattern(pattern);
      if (!file.isEmpty())
        return file;
    }
    return "";
  }

  /**
   * By the rules of {@code java.util.logging.FileHandler}; of its generations one is open.
   */
  private static String ofPattern(String pattern) throws IOException {
    Path file = Paths.get(pattern.replace("%h", System.getProperty("user.home"))
                              .replace("%t", System.getProperty("java.io.tmpdir")));
    String name = Pattern.quote(file.getFileName().toString())
                      .replace("%g", "\\E[0-9]+\\Q")
                      .replace("%u", "\\E[0-9]+\\Q")
                      .replace("%%", "%");
    return open(file.toAbsolutePath().getParent(), name + "(\\.[0-9]+)*");
  }

  /** The last by name of this directory's files that this JVM has open and whose names match. */
  private static String open(Path directory, String names) throws IOException {
    Path real = directory.toRealPath();
    Pattern pattern = Pattern.compile(names);
    String found = "";
    try (DirectoryStream<Path> descriptors = Files.newDirectoryStream(OPEN_FILES)) {
      for (Path descriptor : descriptors) {
        Path file = target(descriptor);
        if (real.equals(file.getParent()) && pattern.matcher(file.getFileName().toString()).matches()
            && file.toString().compareTo(found) > 0)
          found = file.toString();
      }
    }
    return found;
  }

  /** The descriptor's own name when it has been closed meanwhile. */
  private static Path target(Path descriptor) {
    try {
      return Files.readSymbolicLink(descriptor);
    } catch (IOException closed) {
      return descriptor;
    }
  }
}
