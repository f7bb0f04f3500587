package zov.demo;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardCopyOption;
import java.util.logging.Level;
import java.util.logging.Logger;
import org.apache.catalina.Context;
import org.apache.catalina.connector.Connector;
import org.apache.catalina.startup.Tomcat;
import org.apache.tomcat.util.scan.StandardJarScanner;

/**
 * An example server: an embedded Tomcat on the loopback address with the application "shop" of two pages, a
 * servlet and a JSP, and a little load on them. Runs until the process is ended.
 */
public final class Shop {
  private static final String[] WEBAPP_FILES = {"catalog.jsp", "WEB-INF/web.xml"};
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

    Connector connector = new Connector();
    connector.setPort(port);
    connector.setProperty("address", "127.0.0.1");
    Tomcat tomcat = new Tomcat();
    tomcat.setBaseDir(work.toString());
    tomcat.setConnector(connector);
    Context shop = tomcat.addWebapp("/shop", unpackWebapp(work).toString());
    StandardJarScanner noTagLibraries = new StandardJarScanner();
    noTagLibraries.setScanClassPath(false);
    shop.setJarScanner(noTagLibraries);
    tomcat.start();

    Thread load = new Thread(new Load("http://127.0.0.1:" + port + "/shop/"), "load");
    load.setDaemon(true);
    load.start();
    tomcat.getServer().await();
  }

  private static Path unpackWebapp(Path work) throws IOException {
    Path webapp = work.resolve("webapps").resolve("shop");
    for (String file : WEBAPP_FILES) {
      Path target = webapp.resolve(file);
      Files.createDirectories(target.getParent());
      try (InputStream in = Shop.class.getResourceAsStream("/webapp/" + file)) {
        Files.copy(in, target, StandardCopyOption.REPLACE_EXISTING);
      }
    }
    return webapp;
  }
}
