import java.net.InetSocketAddress;
import org.eclipse.jetty.server.Server;
import org.eclipse.jetty.servlet.ServletContextHandler;
import org.eclipse.jetty.servlet.ServletHolder;

/** JettyHost PORT: a Jetty with the pages at /shop. */
public final class JettyHost {
  public static void main(String[] arguments) throws Exception {
    Server server = new Server(new InetSocketAddress("127.0.0.1", Integer.parseInt(arguments[0])));
    ServletContextHandler context = new ServletContextHandler(server, "/shop");
    ServletHolder pages = new ServletHolder(new Pages());
    pages.setAsyncSupported(true);
    for (String path : Pages.PATHS) context.addServlet(pages, path);
    server.start();
    server.join();
  }
}
