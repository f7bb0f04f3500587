package zov.demo;

import jakarta.servlet.AsyncContext;
import jakarta.servlet.Filter;
import jakarta.servlet.ServletException;
import jakarta.servlet.http.HttpServlet;
import jakarta.servlet.http.HttpServletRequest;
import jakarta.servlet.http.HttpServletResponse;
import java.io.IOException;
import java.io.PrintWriter;
import java.net.HttpURLConnection;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.file.Files;
import java.nio.file.Path;
import java.sql.Connection;
import java.sql.PreparedStatement;
import java.sql.SQLException;
import java.sql.Statement;
import javax.jms.JMSException;
import javax.jms.Message;
import javax.jms.MessageConsumer;
import javax.jms.MessageProducer;
import javax.jms.Queue;
import javax.jms.QueueBrowser;
import javax.jms.Session;
import javax.jms.Topic;
import javax.naming.InitialContext;
import javax.sql.DataSource;
import org.apache.activemq.ActiveMQConnectionFactory;
import org.apache.catalina.Context;
import org.apache.catalina.Wrapper;
import org.apache.catalina.startup.Tomcat;
import org.apache.tomcat.util.descriptor.web.ContextResource;
import org.apache.tomcat.util.descriptor.web.FilterDef;
import org.apache.tomcat.util.descriptor.web.FilterMap;

/**
 * The application "depot": pages that wait for a database, a message broker, both embedded, the server itself
 * and names. Each page answers with a line for each thing that it waited for, and the nanoseconds by its own
 * clock.
 */
public final class Depot {
  /** What customers ask for; the rest is for those who look at faults. */
  static final String[] PAGES = {"depot/report", "depot/stocktake", "depot/notices", "depot/supplier",
      "depot/quote", "depot/health", "depot/hours.txt"};

  private static final int PAUSE_MILLIS = 50;
  private static final int WAIT_MILLIS = 1000;
  private static final String POOL = "java:comp/env/jdbc/depot";

  private final String base;
  private final HttpClient client = HttpClient.newHttpClient();
  private javax.jms.Connection broker;
  private boolean made;

  /** Does one thing that takes time. */
  private interface Step {
    void run() throws Exception;
  }

  /** What a page does. */
  private interface Page {
    void answer(HttpServletRequest request, PrintWriter out) throws Exception;
  }

  private Depot(String base) { this.base = base; }

  /** To be called before the server is started; its address ends in a slash. */
  static void addTo(Tomcat tomcat, Path work, String base) throws Exception {
    System.setProperty("hsqldb.method_class_names", Depot.class.getName() + ".pause");
    Path files = Files.createDirectories(work.resolve("webapps/depot"));
    Files.writeString(files.resolve("hours.txt"), "Open from nine to five.\n");
    Depot depot = new Depot(base);
    Context context = tomcat.addWebapp("/depot", files.toString());
    context.getNamingResources().addResource(pool());
    depot.page(context, "report", depot::report);
    depot.page(context, "stocktake", depot::stocktake);
    depot.page(context, "notices", depot::notices);
    depot.page(context, "supplier", depot::supplier);
    depot.page(context, "quote", Depot::quote).setAsyncSupported(true);
    depot.page(context, "broken", (request, out) -> { throw new IllegalStateException("as asked for"); });
    addHealthFilter(context);
  }

  private static ContextResource pool() {
    ContextResource pool = new ContextResource();
    pool.setName("jdbc/depot");
    pool.setType(DataSource.class.getName());
    pool.setProperty("driverClassName", "org.hsqldb.jdbc.JDBCDriver");
    pool.setProperty("url", "jdbc:hsqldb:mem:depot");
    pool.setProperty("username", "SA");
    pool.setProperty("password", "");
    return pool;
  }

  private Wrapper page(Context context, String name, Page page) {
    Wrapper wrapper = Tomcat.addServlet(context, name, new HttpServlet() {
      private static final long serialVersionUID = 1;

      @Override
      protected void doGet(HttpServletRequest request, HttpServletResponse response)
          throws ServletException, IOException {
        response.setContentType("text/plain;charset=UTF-8");
        try {
          page.answer(request, response.getWriter());
        } catch (Exception failure) {
          throw new ServletException(failure);
        }
      }
    });
    wrapper.addMapping("/" + name);
    return wrapper;
  }

  private static void addHealthFilter(Context context) {
    FilterDef filter = new FilterDef();
    filter.setFilterName("health");
    filter.setFilter(
        (Filter) (request, response, chain) -> response.getWriter().println("The depot is open."));
    context.addFilterDef(filter);
    FilterMap map = new FilterMap();
    map.setFilterName("health");
    map.addURLPattern("/health");
    context.addFilterMap(map);
  }

  private static void timed(PrintWriter out, String what, Step step) throws Exception {
    long begun = System.nanoTime();
    step.run();
    out.println(what + " " + (System.nanoTime() - begun));
  }

  /** Called by the database. */
  public static int pause(int millis) throws InterruptedException {
    Thread.sleep(millis);
    return millis;
  }

  /** By whoever comes first. */
  private synchronized void makeTable(Connection connection) throws SQLException {
    if (made)
      return;
    try (Statement statement = connection.createStatement()) {
      statement.execute("CREATE TABLE shelf (item INT PRIMARY KEY, number INT)");
      statement.execute(
          "CREATE FUNCTION pause(millis INT) RETURNS INT LANGUAGE JAVA NOT DETERMINISTIC NO SQL "
          + "EXTERNAL NAME 'CLASSPATH:" + Depot.class.getName() + ".pause'");
      statement.execute("INSERT INTO shelf VALUES (1, 7)");
    }
    made = true;
  }

  private void report(HttpServletRequest request, PrintWriter out) throws Exception {
    DataSource[] pool = new DataSource[1];
    Connection[] connection = new Connection[1];
    timed(out, "look-up", () -> pool[0] = (DataSource) new InitialContext().lookup(POOL));
    timed(out, "connection", () -> connection[0] = pool[0].getConnection());
    try (Connection open = connection[0]) {
      makeTable(open);
      try (PreparedStatement query = open.prepareStatement("SELECT pause(?) FROM shelf WHERE item = 1")) {
        query.setInt(1, PAUSE_MILLIS);
        timed(out, "query", query::executeQuery);
      }
    }
  }

  private void stocktake(HttpServletRequest request, PrintWriter out) throws Exception {
    DataSource pool = (DataSource) new InitialContext().lookup(POOL);
    try (Connection open = pool.getConnection(); Statement statement = open.createStatement()) {
      makeTable(open);
      open.setAutoCommit(false);
      String update =
          "UPDATE shelf SET number = number + pause(4) WHERE item IN (1, " + System.nanoTime() % 1000 + ")";
      timed(out, "update", () -> statement.executeUpdate(update));
      timed(out, "commit", open::commit);
      timed(out, "rollback", open::rollback);
      open.setAutoCommit(true); // else the pool rolls it back again
    }
  }

  private void notices(HttpServletRequest request, PrintWriter out) throws Exception {
    Session session = broker().createSession(false, Session.AUTO_ACKNOWLEDGE);
    try {
      Queue queue = session.createQueue("depot.notices");
      Topic topic = session.createTopic("depot.news");
      MessageProducer toQueue = session.createProducer(queue);
      MessageProducer toTopic = session.createProducer(topic);
      MessageConsumer consumer = session.createConsumer(queue);
      QueueBrowser browser = session.createBrowser(queue);
      Message notice = session.createTextMessage("Come and get it.");
      timed(out, "put", () -> toQueue.send(notice));
      timed(out, "browse", browser::getEnumeration);
      timed(out, "publish", () -> toTopic.send(notice));
      timed(out, "get", () -> consumer.receive(WAIT_MILLIS));
    } finally {
      session.close();
    }
  }

  private synchronized javax.jms.Connection broker() throws JMSException {
    if (broker == null) {
      broker = new ActiveMQConnectionFactory("vm://depot?broker.persistent=false&broker.useJmx=false")
                   .createConnection();
      broker.start();
    }
    return broker;
  }

  private void supplier(HttpServletRequest request, PrintWriter out) throws Exception {
    String item =
        "stock/level?item=" + (request.getParameter("item") == null ? "1" : request.getParameter("item"));
    HttpURLConnection connection = (HttpURLConnection) URI.create(base + item).toURL().openConnection();
    timed(out, "call", connection::getResponseCode);
    connection.getInputStream().readAllBytes();
    HttpRequest call = HttpRequest.newBuilder(URI.create(base + item)).build();
    timed(out, "call", () -> client.send(call, HttpResponse.BodyHandlers.ofString()));
  }

  /** Comes when the request has left its thread. */
  private static void quote(HttpServletRequest request, PrintWriter out) {
    AsyncContext later = request.startAsync();
    later.start(() -> {
      try {
        timed(out, "thought", () -> pause(PAUSE_MILLIS));
      } catch (Exception stopping) {
        out.println("No quote today.");
      }
      later.complete();
    });
  }
}
