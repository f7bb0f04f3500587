package zov.collector;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.OpenOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.time.Instant;
import java.time.temporal.ChronoUnit;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;

/**
 * The collector's own log: a file that its group may read and nobody else. It never grows beyond two times
 * {@link #LARGEST} bytes: a full file replaces the one named with ".1" behind it. A line that cannot be
 * written is lost in silence, and one that only repeats the line before it is left out.
 */
final class CollectorLog {
  static final long LARGEST = 1 << 20;

  private static final String NAME = "zov-collector";
  /** JVM properties that name a directory which has the server's own logs in "logs". */
  private static final List<String> SERVER_DIRECTORIES = List.of("catalina.base", "jetty.base");

  private final Path file;
  private String last = "";

  private CollectorLog(Path file) { this.file = file; }

  /**
   * The first of these that can be written: the file asked for, one beside the server's own logs, and a new
   * one in the temporary directory. A log without any keeps nothing.
   */
  static CollectorLog open(String asked) {
    List<String> places = new ArrayList<>();
    if (!asked.isEmpty())
      places.add(asked);
    for (String directory : SERVER_DIRECTORIES) {
      if (System.getProperty(directory) != null)
        places.add(System.getProperty(directory) + "/logs/" + NAME + ".log");
    }
    for (String place : places) {
      try {
        Path file = Paths.get(place).toAbsolutePath();
        channel(file).close();
        return new CollectorLog(file);
      } catch (IOException | RuntimeException unwritable) {
        continue;
      }
    }
    try {
      return new CollectorLog(Files.createTempFile(NAME + "-", ".log"));
    } catch (IOException | RuntimeException unwritable) {
      return none();
    }
  }

  static CollectorLog none() { return new CollectorLog(null); }

  /** The file; empty when none could be written. */
  String place() { return file == null ? "" : file.toString(); }

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
      try (SeekableByteChannel out = channel(file)) {
        out.write(ByteBuffer.wrap(line.getBytes(StandardCharsets.UTF_8)));
      }
    } catch (IOException | RuntimeException unwritable) {
      // There is nowhere left to tell it.
    }
  }

  private static SeekableByteChannel channel(Path file) throws IOException {
    Set<OpenOption> options = Set.of(StandardOpenOption.CREATE, StandardOpenOption.APPEND);
    boolean posix = file.getFileSystem().supportedFileAttributeViews().contains("posix");
    return posix ? Files.newByteChannel(file, options,
               PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-r-----")))
                 : Files.newByteChannel(file, options);
  }
}
