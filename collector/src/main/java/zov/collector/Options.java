package zov.collector;

import java.util.LinkedHashMap;
import java.util.Map;

/**
 * What the text behind {@code -javaagent:zov-collector.jar=} asks for: {@code key=value} pairs with commas
 * between them, each key at most once, in any order.
 */
final class Options {
  private static final String ACCEPTED =
      "agent=HOST:PORT (default 127.0.0.1:63335), name=SERVER, root=DIRECTORY (default the working directory)"
      + " and log=FILE (default none)";

  final String agentHost;
  final int agentPort;
  final String serverName;
  final String serverRoot;

  private Options(String agentHost, int agentPort, String serverName, String serverRoot) {
    this.agentHost = agentHost;
    this.agentPort = agentPort;
    this.serverName = serverName;
    this.serverRoot = serverRoot;
  }

  /** Throws IllegalArgumentException, whose message says what was given and what is accepted. */
  static Options parse(String arguments) {
    Map<String, String> given = new LinkedHashMap<>();
    for (String pair : arguments.split(",")) {
      if (pair.isBlank())
        continue;
      int equals = pair.indexOf('=');
      if (equals < 0)
        throw wrong("'" + pair + "' is not of the form key=value");
      String key = pair.substring(0, equals).trim();
      String value = pair.substring(equals + 1).trim();
      if (!key.matches("agent|name|root|log"))
        throw wrong("the option '" + key + "' is not known");
      if (value.isEmpty())
        throw wrong("the option '" + key + "' has no value");
      if (given.put(key, value) != null)
        throw wrong("the option '" + key + "' is given twice");
    }
    if (!given.containsKey("name"))
      throw wrong("the option 'name' is missing");

    String agent = given.getOrDefault("agent", "127.0.0.1:63335");
    int colon = agent.lastIndexOf(':');
    if (colon <= 0)
      throw wrong("'" + agent + "' is not of the form HOST:PORT");
    return new Options(agent.substring(0, colon), port(agent.substring(colon + 1)), given.get("name"),
        given.getOrDefault("root", System.getProperty("user.dir")));
  }

  /** The log file asked for, or an empty text; understood even where the other options are wrong. */
  static String logPath(String arguments) {
    for (String pair : arguments.split(",")) {
      if (pair.trim().startsWith("log="))
        return pair.trim().substring("log=".length()).trim();
    }
    return "";
  }

  private static int port(String text) {
    if (text.matches("[0-9]{1,5}")) {
      int port = Integer.parseInt(text);
      if (port >= 1 && port <= 65535)
        return port;
    }
    throw wrong("'" + text + "' is not a port (1 to 65535)");
  }

  private static IllegalArgumentException wrong(String what) {
    return new IllegalArgumentException(what + "; accepted are " + ACCEPTED);
  }
}
