package zov.collector;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.time.Instant;
import java.time.temporal.ChronoUnit;

/**
 * The collector's own log: a file, or nothing at all. It never grows beyond two times {@link #LARGEST}
 * bytes: a full file replaces the one named with ".1" behind it. A line that cannot be written is lost in
 * silence, and one that only repeats the line before it is left out.
 */
final class CollectorLog {
  static final long LARGEST = 1 << 20;

  private final Path file;
  private String last = "";

  private CollectorLog(Path file) { this.file = file; }

  /** An empty or impossible path gives a log that keeps nothing. */
  static CollectorLog to(String path) {
    try {
      return new CollectorLog(path.isEmpty() ? null : Paths.get(path).toAbsolutePath());
    } catch (RuntimeException impossiblePath) {
      return new CollectorLog(null);
    }
  }

  synchronized void line(String text) {
    if (file == null || text.equals(last))
      return;
    last = text;
    String line =
        Instant.now().truncatedTo(ChronoUnit.MILLIS) + " " + text.replaceAll("[\\r\\n]", " ") + "\n";
    try {
      if (Files.exists(file) && Files.size(file) > LARGEST) {
        Files.move(file, file.resolveSibling(file.getFileName() + ".1"), StandardCopyOption.REPLACE_EXISTING);
      }
      Files.write(
          file, line.getBytes(StandardCharsets.UTF_8), StandardOpenOption.CREATE, StandardOpenOption.APPEND);
    } catch (IOException | RuntimeException unwritable) {
      // There is nowhere left to tell it.
    }
  }
}
