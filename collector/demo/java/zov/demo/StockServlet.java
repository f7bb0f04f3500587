package zov.demo;

import jakarta.servlet.ServletException;
import jakarta.servlet.http.HttpServlet;
import jakarta.servlet.http.HttpServletRequest;
import jakarta.servlet.http.HttpServletResponse;
import java.io.IOException;
import java.sql.Connection;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import javax.naming.InitialContext;
import javax.naming.NamingException;
import javax.sql.DataSource;

/** Tells how many of an item are in stock, from a database in memory; of some items nobody knows. */
public final class StockServlet extends HttpServlet {
  private static final long serialVersionUID = 1;
  private static final int KNOWN_ITEMS = 11;

  private transient DataSource stock;

  @Override
  public void init() throws ServletException {
    try {
      stock = (DataSource) new InitialContext().lookup("java:comp/env/jdbc/stock");
      try (Connection connection = stock.getConnection();
           Statement statement = connection.createStatement()) {
        statement.execute("CREATE TABLE stock (item INT PRIMARY KEY, number INT)");
        for (int item = 1; item <= KNOWN_ITEMS; item++)
          statement.execute("INSERT INTO stock VALUES (" + item + ", " + 7 * item + ")");
      }
    } catch (NamingException | SQLException failure) {
      throw new ServletException(failure);
    }
  }

  @Override
  protected void doGet(HttpServletRequest request, HttpServletResponse response) throws IOException {
    try (Connection connection = stock.getConnection();
         PreparedStatement query = connection.prepareStatement("SELECT number FROM stock WHERE item = ?")) {
      query.setInt(1, Integer.parseInt(request.getParameter("item")));
      ResultSet found = query.executeQuery();
      if (!found.next())
        throw new IOException("Nobody knows this item.");
      response.setContentType("text/plain;charset=UTF-8");
      response.getWriter().println(found.getInt(1) + " are there.");
    } catch (SQLException failure) {
      throw new IOException(failure);
    }
  }
}
