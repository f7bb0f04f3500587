<%@ page contentType="text/html;charset=UTF-8" session="false" import="java.util.concurrent.ThreadLocalRandom" %>
<% Thread.sleep(ThreadLocalRandom.current().nextInt(1, 8)); // as if the items were looked up %>
<!DOCTYPE html>
<html lang="en">
<head><title>Catalog</title></head>
<body>
<h1>Catalog</h1>
<ul>
<% for (int item = 1; item <= 12; item++) { %>
  <li><a href="order?item=<%= item %>">Item <%= item %></a></li>
<% } %>
</ul>
</body>
</html>
