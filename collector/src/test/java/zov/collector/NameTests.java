package zov.collector;

import java.util.Map;

/** What becomes of the names that requests bring. */
final class NameTests {
  private NameTests() {}

  static void run() {
    Check.test("a path keeps its words and loses its identifiers", () -> {
      Map<String, String> patterns = Map.ofEntries(Map.entry("", ""), Map.entry("/", "/"),
          Map.entry("/shop/item/4711/", "/shop/item/{id}/"),
          Map.entry("/i18n/v12/h2/item7", "/i18n/v12/h2/item7"), Map.entry("/doc/404.html", "/doc/{id}.html"),
          Map.entry("/2026-11-23/10.1.2", "/{id}/{id}"),
          Map.entry("/u/3f2a77c0-0b1d-4c4e-9a55-d0a3b6a1f00d/x", "/u/{id}/x"),
          Map.entry("/t/Zm9vYmFyQmF6MTIz/x", "/t/{id}/x"), Map.entry("/a;jsessionid=B7/b?user=bob#c", "/a/b"),
          Map.entry("/m/bob@host/bob%40host/uid=bob", "/m/{id}/{id}/{id}"),
          Map.entry("/"
                  + "x".repeat(65) + "/y",
              "/{id}/y"),
          Map.entry("java:comp/env/jdbc/stock", "java:comp/env/jdbc/stock"));
      patterns.forEach((path, pattern) -> Check.equal(pattern, NamePatterns.ofPath(path)));
    });

    Check.test("a statement keeps its names and loses its literals", () -> {
      Map<String, String> patterns = Map.ofEntries(Map.entry("", ""),
          Map.entry(" SELECT\n a1,b  FROM t2 WHERE x='it''s' AND y>-1.5e-3",
              "SELECT a1,b FROM t2 WHERE x=? AND y>-?"),
          Map.entry("x IN (1, 'b', ?,0x1F) LIMIT 5", "x IN (?) LIMIT ?"),
          Map.entry("a -- 'b\n, /* ' */ c # it's\n='d'", "a , c =?"),
          Map.entry("a='C:\\' OR b='Bob'", "a=?..."), Map.entry("a=q'[it's Bob]' b", "a=q?..."),
          Map.entry("a=$x$Bob's$x$, $1, v$a$b", "a=?, $1, v$a$b"), Map.entry("a=\"Bob\" `b'c`", "a=? `b'c`"),
          Map.entry("a='Bob", "a=?"));
      patterns.forEach((sql, pattern) -> Check.equal(pattern, NamePatterns.ofSql(sql, false)));
      Check.equal("\"a b\".\"c\"=?", NamePatterns.ofSql("\"a b\".\"c\"=7", true));
    });

    Check.test("a name of any length costs and takes little", () -> {
      String[] pieces = {"/", "/a", "'", "a", "(", "--", "/*", "\"", "$a", "`", "1,", "\ud83d\ude00"};
      long begun = System.nanoTime();
      for (String piece : pieces) {
        String text = piece.repeat((1 << 20) / piece.length());
        for (String name : new String[] {NamePatterns.ofPath(text), NamePatterns.ofSql(text, false),
                 NamePatterns.ofSql(text, true), NamePatterns.shortened(text)}) {
          Check.holds(name.length() <= NamePatterns.LONGEST_NAME + 3 && !name.matches(".*\\p{Cs}.*"), piece);
        }
      }
      Check.holds(System.nanoTime() - begun < 2_000_000_000L, "the time");
    });
  }
}
