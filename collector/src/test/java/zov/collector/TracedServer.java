package zov.collector;

import com.sun.net.httpserver.HttpExchange;
import com.sun.net.httpserver.HttpServer;
import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.util.concurrent.Executors;

/** A host that serves pages at the port in its property "port" until its standard input ends. */
public final class TracedServer {
  private TracedServer() {}

  public static void main(String[] arguments) throws IOException {
    InetAddress here = InetAddress.getLoopbackAddress();
    HttpServer server = HttpServer.create(new InetSocketAddress(here, Integer.getInteger("port")), 0);
    server.setExecutor(Executors.newCachedThreadPool());
    server.createContext("/", TracedServer::answer);
    server.start();
    System.out.println("ready");
    while (System.in.read() >= 0) continue;
    System.exit(0);
  }

  private static void answer(HttpExchange exchange) throws IOException {
    switch (exchange.getRequestURI().getPath()) {
      case "/throws":
        throw new IllegalStateException("as it should");
      case "/later":
        new Thread(() -> finish(exchange)).start();
        return;
      case "/never":
        return;
      case "/work":
        pause();
        exchange.sendResponseHeaders(200, -1);
        return;
      default:
        exchange.sendResponseHeaders(404, -1);
    }
  }

  private static void finish(HttpExchange exchange) {
    pause();
    try {
      exchange.sendResponseHeaders(200, 1);
      exchange.getResponseBody().write('x');
      exchange.getResponseBody().close();
    } catch (IOException gone) {
      exchange.close();
    }
  }

  private static void pause() {
    try {
      Thread.sleep(20);
    } catch (InterruptedException stopped) {
      throw new IllegalStateException(stopped);
    }
  }
}
