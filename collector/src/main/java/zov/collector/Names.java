package zov.collector;

/** How applications are called in all tables. */
final class Names {
  static final String ROOT = "ROOT";
  private static final String USUAL_HOST = "localhost";

  private Names() {}

  /** "/shop" is "shop" on localhost, "example.test/shop" on another host; the root application is "ROOT". */
  static String application(String host, String contextPath) {
    boolean usual = host.isEmpty() || host.equals(USUAL_HOST);
    String name = usual && contextPath.startsWith("/") ? contextPath.substring(1)
        : usual                                        ? contextPath
                                                       : host + contextPath;
    if (name.endsWith("/"))
      name = name.substring(0, name.length() - 1);
    return name.isEmpty() ? ROOT : name;
  }
}
