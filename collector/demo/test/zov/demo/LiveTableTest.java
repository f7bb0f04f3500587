package zov.demo;

import com.sun.net.httpserver.HttpServer;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.nio.charset.StandardCharsets;
import java.util.Set;
import java.util.TreeSet;

/** The live table over an agent's answers; the exit status says whether it is as it should be. */
public final class LiveTableTest {
  private static final String SERVER =
      "{\"server_nam\":\"a very long name of a server, \\\"x\\\"]}\",\"status\":1,\"pid\":4194304,"
      + "\"tsl_vers\":\"10.1.600\",\"mem_size\":%d,\"mem_total\":16777216}";
  private static final String REQUEST =
      "{\"req_name\":\"an application of some length\",\"req_detail\":\"a page whose name is long\","
      + "\"c3\":60,\"c7\":2147483647,\"c8\":2147483647,\"c10\":2147483647,\"c11\":-1}";
  private static final String SAME_SERVER = "\"server_nam\":\"a very long name of a server, \\\"x\\\"]}\"";

  private static final Set<String> asked = new TreeSet<>();
  private static long usedMemory = -1;
  private static int failures;

  private LiveTableTest() {}

  public static void main(String[] arguments) throws Exception {
    HttpServer agent = HttpServer.create(new InetSocketAddress(InetAddress.getLoopbackAddress(), 0), 0);
    agent.createContext("/v1/tables/", exchange -> {
      String table = exchange.getRequestURI().getPath().split("/")[3];
      asked.add(table);
      byte[] answer = answer(table).getBytes(StandardCharsets.UTF_8);
      exchange.sendResponseHeaders(200, answer.length);
      exchange.getResponseBody().write(answer);
      exchange.close();
    });
    agent.start();
    LiveTable table = new LiveTable("http://127.0.0.1:" + agent.getAddress().getPort(), false);

    table.read();
    String page = table.page();
    holds(page, asked.equals(Set.of("ZOVAPSRV", "ZOVREQUEST")));
    holds(page, page.contains("  a very long n connected    4194304 10.1.600     -/16384       -      -      -\n"));
    holds(page, page.contains("  an application a page whose name is   2147M 2147483.6"));

    usedMemory = 10 * 1024 * 1024;
    table.read();
    page = table.page();
    holds(page, page.contains(" 4194304 10.1.600 10240/16384      12    345      7\n"));
    holds(page, page.lines().allMatch(line -> line.length() <= 80));
    holds(page, !page.contains("not a row"));
    agent.stop(0);
    System.exit(failures);
  }

  private static String answer(String table) {
    String rows = table.equals("ZOVAPSRV") ? String.format(SERVER, usedMemory)
        : table.equals("ZOVREQUEST")       ? REQUEST
        : table.equals("ZOVTHRDP")
        ? "{" + SAME_SERVER + ",\"pool_size\":10000,\"summary\":0},{" + SAME_SERVER
            + ",\"pool_size\":12000,\"summary\":1}, {\"server_nam\":\"other\",\"pool_size\":5,\"summary\":1}"
        : table.equals("ZOVGCACT") ? "{" + SAME_SERVER + ",\"num_run\":345}"
                                   : "{" + SAME_SERVER + ",\"num_errors\":7}";
    return "{\"table\":\"" + table + "\",\"rows\":[" + rows
        + "],\"nodes\":[{\"server_nam\":\"not a row\",\"req_name\":\"not a row\"}]}";
  }

  private static void holds(String page, boolean condition) {
    if (condition)
      return;
    failures++;
    new AssertionError(page).printStackTrace(System.out);
  }
}
