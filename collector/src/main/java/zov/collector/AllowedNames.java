package zov.collector;

import java.util.List;

/**
 * The JVM properties and environment variables that the collector sends, and the only ones. docs/collector.md
 * lists them too; a test compares.
 */
final class AllowedNames {
  /**
   * The server's version, which the agent shows; the collector finds it out where the host does not set it.
   */
  static final String SERVER_VERSION = "appserver.platform";

  static final List<String> PROPERTIES =
      List.of(SERVER_VERSION, "catalina.base", "catalina.home", "file.encoding", "java.class.path",
          "java.home", "java.io.tmpdir", "java.library.path", "java.runtime.name", "java.runtime.version",
          "java.specification.version", "java.vendor", "java.version", "java.vm.info", "java.vm.name",
          "java.vm.vendor", "java.vm.version", "jetty.base", "jetty.home", "os.arch", "os.name", "os.version",
          "user.country", "user.dir", "user.language", "user.name", "user.timezone");

  static final List<String> VARIABLES =
      List.of("CATALINA_BASE", "CATALINA_HOME", "HOME", "HOSTNAME", "JAVA_HOME", "JETTY_BASE", "JETTY_HOME",
          "JRE_HOME", "LANG", "LC_ALL", "LOGNAME", "PATH", "PWD", "SHELL", "TZ", "USER");

  private AllowedNames() {}
}
