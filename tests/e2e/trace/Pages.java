import jakarta.servlet.AsyncContext;
import jakarta.servlet.ServletException;
import jakarta.servlet.http.HttpServlet;
import jakarta.servlet.http.HttpServletRequest;
import jakarta.servlet.http.HttpServletResponse;
import java.io.IOException;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * Pages that behave in all ways that a request can, each with its own count and clock in nanoseconds, which
 * /told tells and begins anew: a line each of path, requests, total and longest time.
 */
public final class Pages extends HttpServlet {
  static final String[] PATHS = {
      "/work", "/items/*", "/throws", "/refuses", "/later", "/again", "/never", "/passes", "/told"};

  private static final long serialVersionUID = 1;
  private static final Map<String, long[]> clocks = new ConcurrentHashMap<>();

  @Override
  protected void doGet(HttpServletRequest request, HttpServletResponse response)
      throws ServletException, IOException {
    long begun = System.nanoTime();
    String path = request.getServletPath();
    boolean goesOn = false;
    try {
      goesOn = answer(path, request, response, begun);
    } finally {
      if (!goesOn)
        count(path, begun);
    }
  }

  /** True when the request ends elsewhere, or counts as what it was first. */
  private boolean answer(String path, HttpServletRequest request, HttpServletResponse response, long begun)
      throws ServletException, IOException {
    switch (path) {
      case "/told":
        clocks.forEach(
            (name, clock) -> print(response, name + " " + clock[0] + " " + clock[1] + " " + clock[2]));
        clocks.clear();
        return true;
      case "/throws":
        throw new ServletException("as it should");
      case "/refuses":
        response.sendError(503);
        return false;
      case "/passes":
        getServletContext().getRequestDispatcher("/work").forward(request, response);
        return false;
      case "/never":
        request.startAsync().setTimeout(0);
        return true;
      case "/later":
      case "/again":
        AsyncContext context = request.startAsync();
        request.setAttribute("begun", begun);
        new Thread(() -> finish(path, context, begun)).start();
        return true;
      default:
        pause(20);
        if (request.getDispatcherType().name().equals("ASYNC"))
          count("/again", (Long) request.getAttribute("begun"));
        return !request.getDispatcherType().name().equals("REQUEST");
    }
  }

  private static void finish(String path, AsyncContext context, long begun) {
    pause(30);
    if (path.equals("/again")) {
      context.dispatch("/work");
      return;
    }
    context.complete();
    count(path, begun);
  }

  private static void print(HttpServletResponse response, String line) {
    try {
      response.getWriter().println(line);
    } catch (IOException gone) {
      throw new IllegalStateException(gone);
    }
  }

  private static void pause(long millis) {
    try {
      Thread.sleep(millis);
    } catch (InterruptedException stopped) {
      throw new IllegalStateException(stopped);
    }
  }

  private static void count(String path, long begun) {
    long nanos = System.nanoTime() - begun;
    clocks.merge(path, new long[] {1, nanos, nanos},
        (some, one) -> new long[] {some[0] + 1, some[1] + nanos, Math.max(some[2], nanos)});
  }
}
