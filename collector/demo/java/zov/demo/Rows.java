package zov.demo;

import java.io.IOException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.time.Duration;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Reads the rows of a table from the agent's HTTP interface: flat JSON objects of texts and integers. */
final class Rows {
  private static final String TEXT = "\"((?:[^\"\\\\]++|\\\\.)*+)\"";
  private static final Pattern FLAT_OBJECT =
      Pattern.compile("[\\s,]*(\\{(?:[^{}\"]++|" + TEXT + ")*+\\})", Pattern.DOTALL);
  private static final Pattern LIST = Pattern.compile("\"rows\"\\s*:\\s*\\[");
  private static final Pattern MEMBER = Pattern.compile(TEXT + "\\s*:\\s*(?:" + TEXT + "|(-?\\d+))");
  private static final Pattern ESCAPE = Pattern.compile("\\\\(u[0-9a-fA-F]{4}|.)");

  private final HttpClient client = HttpClient.newHttpClient();
  private final String base;

  Rows(String base) { this.base = base; }

  List<Map<String, String>> of(String table) throws IOException, InterruptedException {
    HttpRequest request = HttpRequest.newBuilder(URI.create(base + "/v1/tables/" + table + "/rows"))
                              .timeout(Duration.ofSeconds(10))
                              .build();
    HttpResponse<String> response = client.send(request, HttpResponse.BodyHandlers.ofString());
    if (response.statusCode() != 200) {
      throw new IOException(table + ": status " + response.statusCode() + " " + response.body());
    }
    return parse(response.body());
  }

  /** The objects of the list "rows"; what else the answer tells is passed over. */
  static List<Map<String, String>> parse(String json) {
    List<Map<String, String>> rows = new ArrayList<>();
    Matcher list = LIST.matcher(json);
    if (!list.find())
      return rows;
    Matcher objects = FLAT_OBJECT.matcher(json).region(list.end(), json.length());
    while (objects.lookingAt()) {
      Map<String, String> row = new HashMap<>();
      Matcher members = MEMBER.matcher(objects.group(1));
      while (members.find()) {
        row.put(unescape(members.group(1)),
            members.group(2) != null ? unescape(members.group(2)) : members.group(3));
      }
      rows.add(row);
      objects.region(objects.end(), json.length());
    }
    return rows;
  }

  private static String unescape(String text) {
    return ESCAPE.matcher(text).replaceAll(escape -> {
      String code = escape.group(1);
      String plain = code.startsWith("u") ? String.valueOf((char) Integer.parseInt(code.substring(1), 16))
          : "nrtbf".contains(code)        ? " "
                                          : code;
      return Matcher.quoteReplacement(plain);
    });
  }
}
