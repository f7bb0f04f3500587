package zov.demo;

import jakarta.servlet.http.HttpServlet;
import jakarta.servlet.http.HttpServletRequest;
import jakarta.servlet.http.HttpServletResponse;
import jakarta.servlet.http.HttpSession;
import java.io.IOException;
import java.util.concurrent.ThreadLocalRandom;

/**
 * Takes an order; now and then it is slow, as if something behind it were. A session lasts for some orders of
 * one customer.
 */
public final class OrderServlet extends HttpServlet {
  private static final long serialVersionUID = 1;
  private static final int MOST_ORDERS = 5;

  @Override
  protected void doGet(HttpServletRequest request, HttpServletResponse response) throws IOException {
    ThreadLocalRandom random = ThreadLocalRandom.current();
    HttpSession session = request.getSession();
    Integer orders = (Integer) session.getAttribute("orders");
    session.setAttribute("orders", orders == null ? 1 : orders + 1);
    try {
      Thread.sleep(random.nextInt(20) == 0 ? random.nextInt(100, 200) : random.nextInt(5, 25));
    } catch (InterruptedException stopping) {
      Thread.currentThread().interrupt();
    }
    response.setContentType("text/plain;charset=UTF-8");
    response.getWriter().println("Order " + random.nextInt(100_000, 1_000_000) + " is taken.");
    if (orders != null && orders >= MOST_ORDERS)
      session.invalidate();
  }
}
