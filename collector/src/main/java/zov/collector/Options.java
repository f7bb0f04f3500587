package zov.collector;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * What the text behind {@code -javaagent:zov-collector.jar=} asks for: {@code key=value} pairs with commas
 * between them, each key at most once, in any order. A path may have blanks, and commas too unless a KEY=
 * follows.
 */
final class Options {
  private static final String ACCEPTED =
      "agent=HOST:PORT (default 127.0.0.1:63335), name=SERVER, root=DIRECTORY (default the working directory), "
      + "log=FILE (default: beside the server's own logs, or in the temporary directory), statistics=on or off "
      + "(default on) and trace=on or off (default on)";
  private static final String KEYS = "agent|name|root|log|statistics|trace";
  private static final String PATH = "(root|log)=.*";

  final String agentHost;
  final int agentPort;
  final String serverName;
  final String serverRoot;
  /** The log that is asked for; may be empty. */
  final String logFile;
  /** Whether the agent may have a statistics JVM started. */
  final boolean statistics;
  /** Whether requests may be traced. */
  final boolean trace;

  private Options(String agentHost, int agentPort, String serverName, String serverRoot, String logFile,
      boolean statistics, boolean trace) {
    this.agentHost = agentHost;
    this.agentPort = agentPort;
    this.serverName = serverName;
    this.serverRoot = serverRoot;
    this.logFile = logFile;
    this.statistics = statistics;
    this.trace = trace;
  }

  /** Throws IllegalArgumentException, whose message says what was given and what is accepted. */
  static Options parse(String arguments) {
    Map<String, String> given = new LinkedHashMap<>();
    for (String pair : pairs(arguments)) {
      int equals = pair.indexOf('=');
      if (equals < 0)
        throw wrong("'" + pair + "' is not of the form key=value");
      String key = pair.substring(0, equals).trim();
      String value = pair.substring(equals + 1).trim();
      if (!key.matches(KEYS))
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
        given.getOrDefault("root", System.getProperty("user.dir")), given.getOrDefault("log", ""),
        isOn(given.getOrDefault("statistics", "on")), isOn(given.getOrDefault("trace", "on")));
  }

  /** The parts between commas, those that go on with a path put back to it. */
  private static List<String> pairs(String arguments) {
    List<String> pairs = new ArrayList<>();
    for (String part : arguments.split(",")) {
      int last = pairs.size() - 1;
      boolean goesOn =
          last >= 0 && pairs.get(last).matches(PATH) && !part.trim().matches("[a-z]*=.*|" + KEYS);
      if (goesOn) {
        pairs.set(last, pairs.get(last) + "," + part);
      } else if (!part.isBlank()) {
        pairs.add(part.trim());
      }
    }
    return pairs;
  }

  private static boolean isOn(String text) {
    if (!text.matches("on|off"))
      throw wrong("'" + text + "' is neither on nor off");
    return text.equals("on");
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
