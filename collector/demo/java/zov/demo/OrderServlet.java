package zov.demo;

import jakarta.servlet.http.HttpServlet;
import jakarta.servlet.http.HttpServletRequest;
import jakarta.servlet.http.HttpServletResponse;
import java.io.IOException;
import java.util.concurrent.ThreadLocalRandom;

/** Takes an order; now and then it is slow, as if something behind it were. */
public final class OrderServlet extends HttpServlet {
  private static final long serialVersionUID = 1;

  @Override
  protected void doGet(HttpServletRequest request, HttpServletResponse response) throws IOException {
    ThreadLocalRandom random = ThreadLocalRandom.current();
    try {
      Thread.sleep(random.nextInt(20) == 0 ? random.nextInt(100, 200) : random.nextInt(5, 25));
    } catch (InterruptedException stopping) {
      Thread.currentThread().interrupt();
    }
    response.setContentType("text/plain;charset=UTF-8");
    response.getWriter().println("Order " + random.nextInt(100_000, 1_000_000) + " is taken.");
  }
}
