import java.io.File;
import org.apache.catalina.Context;
import org.apache.catalina.Wrapper;
import org.apache.catalina.connector.Connector;
import org.apache.catalina.startup.Tomcat;
import org.apache.tomcat.util.modeler.Registry;

/** TomcatHost PORT DIRECTORY: a Tomcat that publishes no MBeans, with the pages at /shop. */
public final class TomcatHost {
  public static void main(String[] arguments) throws Exception {
    Registry.disableRegistry();
    Connector connector = new Connector();
    connector.setPort(Integer.parseInt(arguments[0]));
    connector.setProperty("address", "127.0.0.1");
    Tomcat tomcat = new Tomcat();
    tomcat.setBaseDir(arguments[1]);
    tomcat.setConnector(connector);
    Context context = tomcat.addContext("/shop", new File(arguments[1]).getAbsolutePath());
    Wrapper pages = Tomcat.addServlet(context, "pages", new Pages());
    pages.setAsyncSupported(true);
    for (String path : Pages.PATHS) context.addServletMappingDecoded(path, "pages");
    tomcat.start();
    tomcat.getServer().await();
  }
}
