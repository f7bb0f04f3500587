package zov.collector;

import java.lang.ref.WeakReference;
import java.lang.reflect.Proxy;
import java.net.URL;
import java.net.URLClassLoader;
import java.sql.Connection;
import java.sql.DatabaseMetaData;
import java.sql.Driver;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;
import javax.sql.DataSource;
import zov.boot.Hooks;

/** What requests waited for, from additions to samples. */
final class DelayTests {
  private static final int PID = 4711;

  private final AtomicLong nanos = new AtomicLong(7);
  private final DelayLedger ledger = new DelayLedger(nanos::get);
  private final Samples samples = new Samples();
  private final DelaySampler sampler = new DelaySampler(
      PID, ledger, () -> 1_700_000_000_999L, new Abbreviations(PID), (application, name) -> Scale.NONE);

  private final HostDelays delays = new HostDelays(ledger);
  private final TracedRequest request = new TracedRequest(0, 1);

  private DelayTests() {}

  static void run() {
    Check.test("each delay is told once, with what it took", () -> {
      DelayTests host = new DelayTests();
      TallyLedger.Kind stock = new TallyLedger.Kind(0, "stock", "Product", "1.2");
      host.ledger.addDataSource(DelayType.CONNECTION, stock, 1, 2_600_000);
      host.ledger.addDataSource(DelayType.UPDATE, stock, 1, 1_600_000);
      host.ledger.addDataSource(DelayType.TRANSACTION, stock, 1, 9_000_000);
      host.ledger.addQueue(DelayType.PUBLISH, new TallyLedger.Kind(2, "broker", "news"), 4, 3_000_000);
      host.query(1_600_000);
      String times =
          Hex.number(20, 1_700_000_000) + Hex.number(21, 5) + Hex.number(314, 5000) + Hex.number(4, PID);
      String part = times + Hex.number(750, 4) + Hex.number(700, 1);
      String names =
          Hex.text(701, "shop") + Hex.text(702, "order") + Hex.text(751, "stock") + Hex.text(752, "SELECT ?");
      Check.equal(
          List.of(Hex.sample(34, times, numbers(783, 1, 784, 2, 786, 0, 787, 0, 788, 1, 789, 1, 785, 3),
                      Hex.text(8, "stock"), Hex.text(781, "Product"), Hex.text(782, "1.2")),
              Hex.sample(35, times,
                  numbers(808, 2, 802, 0, 805, 0, 803, 0, 806, 0, 804, 0, 807, 0, 820, 4, 821, 12),
                  Hex.text(800, "broker"), Hex.text(801, "news")),
              Hex.sample(32, part, numbers(753, 1, 754, 1, 755, 2), names)),
          host.poll());
      // What is less than a millisecond waits for more.
      host.query(400_000);
      Check.equal(List.of(Hex.sample(32, part, numbers(753, 1, 754, 1, 755, 0), names)), host.poll());
      Check.equal(List.of(), host.poll());
    });

    Check.test("calls of a database are told apart, and tell no secret", () -> {
      DelayTests host = new DelayTests();
      Connection connection = database("jdbc:x:y://bob:tig@er@host:1/stock;password=tiger?user=bob");
      DataSource pool = fake(DataSource.class, Map.of());
      host.call(Hooks.COMMIT, connection, null, null);
      host.call(Hooks.CONNECTION, pool, null, connection);
      host.call(Hooks.STATEMENT, statement(connection), "select a from b where c='d'", null);
      host.call(Hooks.STATEMENT, statement(connection), "\"a b\" 7", null);
      host.call(Hooks.STATEMENT, statement(connection), "call x", fake(ResultSet.class, Map.of()));
      Statement prepared = fake(PreparedStatement.class, Map.of());
      host.call(Hooks.PREPARE, connection, "update b set c=7", prepared);
      host.call(Hooks.STATEMENT, prepared, null, null);
      host.call(Hooks.STATEMENT, fake(Statement.class, Map.of()), null, null);
      host.delays.ended(host.request, Hooks.CONNECTION, 1, pool, null, null, new SQLException("none left"));
      host.call(Hooks.CONNECTION, fake(Driver.class, Map.of()), null, null);
      host.call(Hooks.ROLLBACK, connection, null, null);
      String place = "x:y://host:1/stock ";
      Check.equal(List.of("TRANSACTION other commit", "CONNECTION " + place + "connection 2",
                      "QUERY " + place + "select a from b where c=?", "UPDATE " + place + "\"a b\" ?",
                      "QUERY " + place + "call x", "UPDATE " + place + "update b set c=?",
                      "UPDATE other unknown", "TRANSACTION " + place + "rollback"),
          host.parts());
      Check.equal(List.of("x:thin:host:1/db", "h:mem:a"),
          List.of(DatabaseCalls.name("jdbc:x:thin:scott/tiger@host:1/db"),
              DatabaseCalls.name("jdbc:h:mem:a;x=y")));
      Check.equal(false, host.delays.isWanted(Hooks.COMMIT, pool, true));
      Check.equal(false, host.delays.isWanted(Hooks.STATEMENT, prepared, false));
      Check.equal(true, host.delays.isWanted(Hooks.PREPARE, connection, false));
    });

    Check.test("nothing of an application's is held, nor its class loader", () -> {
      DelayTests host = new DelayTests();
      WeakReference<ClassLoader> application = host.application();
      for (int i = 0; i < 50 && application.get() != null; i++) {
        System.gc();
        Thread.sleep(20);
      }
      Check.equal(null, application.get());
      Check.equal(3, host.request.parts.size());
    });

    Check.test("of a million kinds a thousand are kept, and all are counted", () -> {
      TallyLedger many = new TallyLedger(1, () -> 0);
      for (int i = 0; i < 1_000_000; i++) many.add(new TallyLedger.Kind(i % 2, "a" + i), 0, 1, 1);
      int all = 0;
      List<TallyLedger.Account> accounts = many.accounts();
      for (TallyLedger.Account account : accounts) all += many.take(account)[0].count;
      Check.equal(1_000_000, all);
      Check.equal(TallyLedger.MOST_KINDS + 2, accounts.size());
      many.add(new TallyLedger.Kind(0, "a1"), 0, 1, 1);
      many.accounts();
      many.add(new TallyLedger.Kind(0, "new"), 0, 1, 1);
      Check.equal(1L, many.accounts().stream().filter(one -> one.kind.names.contains("new")).count());
    });

    Check.test("fractions are told in the end, though nothing comes in between", () -> {
      TallyLedger rare = new TallyLedger(1, () -> 0);
      long millis = 0;
      for (int i = 0; i < 2000; i++) {
        if (i % 2 == 0)
          rare.add(new TallyLedger.Kind(0, "x"), 0, 1, 900_000);
        for (TallyLedger.Account account : rare.accounts()) millis += rare.take(account)[0].millis;
      }
      Check.equal(900L, millis);
    });

    Check.test("what threads add while others take is told once", () -> {
      TallyLedger busy = new TallyLedger(1, System::nanoTime);
      AtomicInteger running = new AtomicInteger(4);
      for (int i = running.get(); i > 0; i--) {
        new Thread(() -> {
          for (int n = 0; n < 200_000; n++) busy.add(new TallyLedger.Kind(n % 3, "x"), 0, 1, 1);
          running.decrementAndGet();
        }).start();
      }
      long told = 0;
      for (boolean last = false; !last;) {
        last = running.get() == 0;
        for (TallyLedger.Account account : busy.accounts()) told += busy.take(account)[0].count;
      }
      Check.equal(800_000L, told);
    });
  }

  private void call(int kind, Object target, Object argument, Object result) {
    delays.ended(request, kind, 1, target, argument, result, null);
  }

  /** Calls of a driver that an application has brought and that is gone now. */
  private WeakReference<ClassLoader> application() {
    ClassLoader loader = new URLClassLoader(new URL[0], ClassLoader.getPlatformClassLoader());
    DatabaseMetaData about = fake(loader, DatabaseMetaData.class, Map.of("getURL", "jdbc:x:y"));
    Connection connection = fake(loader, Connection.class, Map.of("getMetaData", about));
    DataSource pool = fake(loader, DataSource.class, Map.of());
    PreparedStatement prepared = fake(loader, PreparedStatement.class, Map.of());
    Check.equal(false, delays.isWanted(Hooks.SEND, pool, true));
    call(Hooks.CONNECTION, pool, null, connection);
    call(Hooks.PREPARE, connection, "update a", prepared);
    call(Hooks.STATEMENT, prepared, null, null);
    call(Hooks.COMMIT, connection, null, null);
    return new WeakReference<>(loader);
  }

  private List<String> parts() {
    List<String> parts = new ArrayList<>();
    for (TracedRequest.Part part : request.parts)
      parts.add(
          part.type + " " + part.detail1 + " " + part.detail2 + (part.count > 1 ? " " + part.count : ""));
    return parts;
  }

  private static Connection database(String address) {
    return fake(Connection.class,
        Map.of("getMetaData",
            fake(DatabaseMetaData.class, Map.of("getURL", address, "getIdentifierQuoteString", "\""))));
  }

  private static Statement statement(Connection of) {
    return fake(Statement.class, Map.of("getConnection", of));
  }

  /** An object that answers these methods so, and all others with null. */
  private static <T> T fake(Class<T> type, Map<String, Object> answers) {
    return fake(type.getClassLoader(), type, answers);
  }

  private static <T> T fake(ClassLoader loader, Class<T> type, Map<String, Object> answers) {
    return type.cast(Proxy.newProxyInstance(
        loader, new Class<?>[] {type}, (proxy, method, arguments) -> answers.get(method.getName())));
  }

  private void query(long nanos) {
    request.parts = List.of();
    request.application = "shop";
    request.name = "order";
    request.part(DelayType.QUERY, nanos, "stock", "SELECT ?");
    ledger.addPart(request, request.parts.get(0));
  }

  private static String numbers(long... keysAndValues) {
    StringBuilder fields = new StringBuilder();
    for (int i = 0; i < keysAndValues.length; i += 2)
      fields.append(Hex.number((int) keysAndValues[i], keysAndValues[i + 1]));
    return fields.toString();
  }

  private List<String> poll() throws Exception {
    nanos.addAndGet(5_000_000_000L);
    sampler.sample(samples);
    return samples.take();
  }
}
