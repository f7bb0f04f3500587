<%@ page contentType="text/plain;charset=UTF-8" session="false" %><%@
page import="java.util.logging.Level,java.util.logging.Logger" %><%
Logger log = Logger.getLogger("zov.demo.Inventory");
String item = request.getParameter("item");
if ("12".equals(item)) {
  log.log(Level.SEVERE, "SHOP0003E: Nobody knows item {0}", item);
} else if ("1".equals(item)) {
  log.log(Level.WARNING, "SHOP0002W: Item {0} runs low", item);
} else {
  log.log(Level.INFO, "SHOP0001I: Item {0} was counted", item);
}
%>Item <%= "12".equals(item) ? "is unknown" : "was counted" %>
