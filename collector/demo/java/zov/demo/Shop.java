package zov.demo;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.util.List;
import java.util.Map;
import java.util.logging.Level;
import java.util.logging.Logger;
import org.apache.catalina.Context;
import org.apache.catalina.connector.Connector;
import org.apache.catalina.startup.Tomcat;
import org.apache.tomcat.util.scan.StandardJarScanner;

/**
 * An example server: an embedded Tomcat on the loopback address with two applications, "shop" of a servlet
 * and a JSP, and "stock" with a database behind it, and a little load on them. Runs until the process is
 * ended.
 */
public final class Shop {
  private static final Map<String, List<String>> WEBAPPS =
      Map.of("shop", List.of("catalog.jsp", "inventory.jsp", "WEB-INF/web.xml"), "stock",
          List.of("META-INF/context.xml", "WEB-INF/web.xml"));
  private static final int CUSTOMERS = Integer.getInteger("zov.demo.customers", 3);
  private static final Logger serverLog = Logger.getLogger("org.apache");

  private Shop() {}

  public static void main(String[] arguments) throws Exception {
    if (arguments.length != 2) {
      System.err.println("Usage: zov.demo.Shop HTTP_PORT WORK_DIRECTORY");
      System.exit(2);
    }
    int port = Integer.parseInt(arguments[0]);
    Path work = Paths.get(arguments[1]).toAbsolutePath();
    serverLog.setLevel(Level.WARNING);
    Logger.getLogger(Shop.class.getName())
        .log(Level.INFO, "SHOP0000I: The shop opens at port {0,number,#}", port);

    Connector connector = new Connector();
    connector.setPort(port);
    connector.setProperty("address", "127.0.0.1");
    Tomcat tomcat = new Tomcat();
    tomcat.setBaseDir(work.toString());
    tomcat.setConnector(connector);
    tomcat.enableNaming();
    for (String name : WEBAPPS.keySet()) addWebapp(tomcat, name, work);
    Depot.addTo(tomcat, work, "http://127.0.0.1:" + port + "/");
    tomcat.start();

    for (int i = 0; i < CUSTOMERS; i++) {
      Thread load = new Thread(new Load("http://127.0.0.1:" + port + "/"), "load");
      load.setDaemon(true);
      load.start();
    }
    tomcat.getServer().await();
  }

  private static void addWebapp(Tomcat tomcat, String name, Path work) throws IOException {
    Context webapp = tomcat.addWebapp("/" + name, unpackWebapp(name, work).toString());
    StandardJarScanner noTagLibraries = new StandardJarScanner();
    noTagLibraries.setScanClassPath(false);
    webapp.setJarScanner(noTagLibraries);
  }

  private static Path unpackWebapp(String name, Path work) throws IOException {
    Path webapp = work.resolve("webapps").resolve(name);
    for (String file : WEBAPPS.get(name)) {
      Path target = webapp.resolve(file);
      Files.createDirectories(target.getParent());
      try (InputStream in = Shop.class.getResourceAsStream("/webapps/" + name + "/" + file)) {
        Files.copy(in, target, StandardCopyOption.REPLACE_EXISTING);
      }
    }
    return webapp;
  }
}
