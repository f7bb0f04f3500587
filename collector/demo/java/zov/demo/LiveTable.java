package zov.demo;

import java.io.IOException;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Objects;
import java.util.Set;

/**
 * Shows the agent's view in 80 columns: its servers, and their requests in the last interval. Heap, threads,
 * collections and errors are those that the servers' statistics tell; without any they are not asked for.
 *
 * {@code URL live} prints a block every two seconds; {@code URL terminal FOOTER} does so in place and with
 * colour. {@code URL once SECONDS PAGE...} waits until a server with statistics and every page named are there,
 * prints them once and ends with 0; when the seconds are over it ends with 1.
 */
public final class LiveTable {
  private static final long REFRESH_MILLIS = 2000;
  private static final int MOST_FAILURES = 10;
  private static final String NULL = "-1";
  private static final String STATUS = "%-12s";
  private static final String SERVER = "  %-13.13s %s %7s %-8.8s %11s %7s %6s %6s";
  private static final String REQUEST = "  %-14.14s %-21.21s %6s %8s %8s %8s %6s";

  private final Rows rows;
  private final boolean terminal;
  private List<Map<String, String>> servers = List.of();
  private List<Map<String, String>> requests = List.of();
  private List<Map<String, String>> threadPools = List.of();
  private List<Map<String, String>> collections = List.of();
  private List<Map<String, String>> applications = List.of();

  LiveTable(String base, boolean terminal) {
    rows = new Rows(base);
    this.terminal = terminal;
  }

  public static void main(String[] arguments) throws InterruptedException {
    String mode = arguments.length < 2 ? "" : arguments[1];
    if (mode.equals("live") && arguments.length == 2) {
      System.exit(new LiveTable(arguments[0], false).live(""));
    }
    if (mode.equals("terminal") && arguments.length == 3) {
      System.exit(new LiveTable(arguments[0], true).live(arguments[2] + "\n"));
    }
    if (mode.equals("once") && arguments.length > 3) {
      System.exit(new LiveTable(arguments[0], false).once(arguments));
    }
    System.err.println("Usage: zov.demo.LiveTable URL live | terminal FOOTER | once SECONDS PAGE...");
    System.exit(2);
  }

  private int live(String footer) throws InterruptedException {
    int failures = 0;
    while (failures < MOST_FAILURES) {
      try {
        read();
        failures = 0;
        System.out.print((terminal ? "\033[H\033[2J" : "") + page() + footer);
        System.out.flush();
      } catch (IOException failure) {
        failures++;
        System.err.println("The agent does not answer: " + failure);
      }
      Thread.sleep(REFRESH_MILLIS);
    }
    return 1;
  }

  private int once(String[] arguments) throws InterruptedException {
    Set<String> wanted = new HashSet<>(List.of(arguments).subList(3, arguments.length));
    long end = System.nanoTime() + Long.parseLong(arguments[2]) * 1_000_000_000L;
    String lastFailure = "";
    while (System.nanoTime() < end) {
      try {
        read();
        Set<String> pages = new HashSet<>();
        for (Map<String, String> request : requests) pages.add(request.get("req_detail"));
        boolean counting = servers.stream().anyMatch(server -> !threads(server).equals("-"));
        if (counting && pages.containsAll(wanted)) {
          System.out.print(page());
          return 0;
        }
      } catch (IOException failure) {
        lastFailure = failure.toString();
      }
      Thread.sleep(500);
    }
    System.out.print(page());
    System.err.println("Not all of " + wanted + " came within " + arguments[2] + " seconds. " + lastFailure);
    return 1;
  }

  void read() throws IOException, InterruptedException {
    servers = rows.of("ZOVAPSRV");
    requests = rows.of("ZOVREQUEST");
    boolean statistics = servers.stream().anyMatch(server -> !value(server, "mem_size").equals("-"));
    threadPools = statistics ? rows.of("ZOVTHRDP") : List.of();
    collections = statistics ? rows.of("ZOVGCACT") : List.of();
    applications = statistics ? rows.of("ZOVAPP") : List.of();
  }

  String page() {
    StringBuilder out = new StringBuilder();
    title(out, "Servers", "ZOVAPSRV");
    heading(out,
        String.format(SERVER, "server", String.format(STATUS, "status"), "pid", "version", "heap MiB",
            "threads", "gcs", "errors"));
    for (Map<String, String> row : sorted(servers, "server_nam", "pid")) {
      boolean up = "1".equals(row.get("status"));
      String status = colour(up ? "32" : "31", String.format(STATUS, up ? "connected" : "disconnected"));
      out.append(String.format(SERVER, row.get("server_nam"), status, value(row, "pid"),
                     row.getOrDefault("tsl_vers", ""), heap(row), threads(row),
                     sum(collections, row, "num_run"), sum(applications, row, "num_errors")))
          .append('\n');
    }
    out.append('\n');
    title(out, "Requests in the last interval", "ZOVREQUEST");
    heading(
        out, String.format(REQUEST, "application", "page", "count", "per s", "mean ms", "longest", "over s"));
    for (Map<String, String> row : sorted(requests, "req_name", "req_detail")) {
      out.append(String.format(REQUEST, row.get("req_name"), row.get("req_detail"), brief(value(row, "c7")),
                     thousandths(row, "c8", 1), brief(value(row, "c10")), brief(value(row, "c11")),
                     value(row, "c3")))
          .append('\n');
    }
    if (requests.isEmpty())
      out.append("  none yet: the first ones come with the next interval\n");
    return out.append('\n').toString();
  }

  private void title(StringBuilder out, String text, String table) {
    out.append(colour("1", text)).append(colour("2", "  " + table)).append('\n');
  }

  private void heading(StringBuilder out, String text) { out.append(colour("4", text)).append('\n'); }

  private String colour(String code, String text) {
    return terminal ? "\033[" + code + "m" + text + "\033[0m" : text;
  }

  private static List<Map<String, String>> sorted(
      List<Map<String, String>> rows, String first, String second) {
    List<Map<String, String>> sorted = new ArrayList<>(rows);
    sorted.sort(
        (a, b) -> (a.get(first) + '\0' + a.get(second)).compareTo(b.get(first) + '\0' + b.get(second)));
    return sorted;
  }

  private static String value(Map<String, String> row, String column) {
    String value = row.getOrDefault(column, NULL);
    return value.equals(NULL) ? "-" : value;
  }

  /** Used and total, of figures in KiB. */
  private static String heap(Map<String, String> row) {
    return mebibytes(row, "mem_size") + "/" + mebibytes(row, "mem_total");
  }

  private static String mebibytes(Map<String, String> row, String column) {
    String kibibytes = value(row, column);
    return kibibytes.equals("-") ? kibibytes : Long.toString(Long.parseLong(kibibytes) / 1024);
  }

  /** Of the row that stands for all pools together; means come in thousandths. */
  private String threads(Map<String, String> server) {
    for (Map<String, String> row : threadPools) {
      if ("1".equals(row.get("summary")) && Objects.equals(row.get("server_nam"), server.get("server_nam")))
        return thousandths(row, "pool_size", 0);
    }
    return "-";
  }

  private static String thousandths(Map<String, String> row, String column, int decimals) {
    String value = value(row, column);
    return value.equals("-")
        ? value
        : String.format(Locale.ROOT, "%." + decimals + "f", Long.parseLong(value) / 1000.0);
  }

  /** What the server's rows say together, without those that are sums themselves. */
  private static String sum(List<Map<String, String>> rows, Map<String, String> server, String column) {
    long sum = 0;
    boolean known = false;
    for (Map<String, String> row : rows) {
      String value = value(row, column);
      if (value.equals("-") || "1".equals(row.get("summary"))
          || !Objects.equals(row.get("server_nam"), server.get("server_nam")))
        continue;
      sum += Long.parseLong(value);
      known = true;
    }
    return known ? brief(Long.toString(sum)) : "-";
  }

  /** At most six characters: 1234567 is 1234k. */
  private static String brief(String number) {
    String units = "kMGTPE";
    for (int i = 0; i < units.length() && number.length() > 6; i++) {
      number = number.replaceFirst("[0-9]{3}[a-zA-Z]?$", "") + units.charAt(i);
    }
    return number;
  }
}
