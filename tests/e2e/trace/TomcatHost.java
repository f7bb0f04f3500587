import java.io.File;
import java.lang.ref.WeakReference;
import java.net.URL;
import java.util.ArrayList;
import java.util.List;
import org.apache.catalina.Context;
import org.apache.catalina.Wrapper;
import org.apache.catalina.connector.Connector;
import org.apache.catalina.startup.Tomcat;
import org.apache.tomcat.util.modeler.Registry;

/**
 * TomcatHost PORT DIRECTORY [REDEPLOYMENTS]: a Tomcat that publishes no MBeans, with the pages at /shop;
 * before that it deploys an application of its own classes so often, asks it for a page, and undeploys it,
 * and tells how many of the class loaders are left.
 */
public final class TomcatHost {
  private static final Tomcat tomcat = new Tomcat();
  private static String address;

  public static void main(String[] arguments) throws Exception {
    Registry.disableRegistry();
    Connector connector = new Connector();
    connector.setPort(Integer.parseInt(arguments[0]));
    connector.setProperty("address", "127.0.0.1");
    address = "http://127.0.0.1:" + arguments[0];
    tomcat.setBaseDir(arguments[1]);
    tomcat.setConnector(connector);
    Context shop = tomcat.addContext("/shop", new File(arguments[1]).getAbsolutePath());
    Wrapper pages = Tomcat.addServlet(shop, "pages", new Pages());
    pages.setAsyncSupported(true);
    for (String path : Pages.PATHS) shop.addServletMappingDecoded(path, "pages");
    tomcat.start();
    File wish = new File(arguments[1], "redeploy");
    while (arguments.length > 2 && !wish.exists()) Thread.sleep(100);
    if (wish.exists())
      redeploy(Integer.parseInt(arguments[2]), new File(arguments[1], "webapp").getAbsolutePath());
    tomcat.getServer().await();
  }

  private static void redeploy(int times, String directory) throws Exception {
    List<WeakReference<ClassLoader>> loaders = new ArrayList<>();
    for (int i = 0; i < times; i++) {
      Context context = tomcat.addContext("/brief", directory);
      Tomcat.addServlet(context, "pages", "Pages").setAsyncSupported(true);
      context.addServletMappingDecoded("/later", "pages");
      context.addServletMappingDecoded("/told", "pages");
      new URL(address + "/brief/later").openStream().close();
      new URL(address + "/brief/told").openStream().close();
      if (context.getLoader().getClassLoader().loadClass("Pages") == Pages.class)
        throw new IllegalStateException("the application has no classes of its own");
      loaders.add(new WeakReference<>(context.getLoader().getClassLoader()));
      tomcat.getHost().removeChild(context);
    }
    for (int i = 0; i < 50 && loaders.removeIf(one -> one.get() == null) | !loaders.isEmpty(); i++) {
      System.gc();
      Thread.sleep(100);
    }
    System.out.println("left of " + times + ": " + loaders.size());
  }
}
