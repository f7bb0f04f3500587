package zov.collector;

import java.sql.Connection;
import java.sql.DatabaseMetaData;
import java.sql.Driver;
import java.sql.PreparedStatement;
import java.sql.ResultSet;
import java.sql.SQLException;
import java.sql.Statement;
import java.util.Locale;
import java.util.Set;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentMap;
import javax.sql.DataSource;
import zov.boot.Hooks;

/**
 * Reads calls of JDBC. A data source goes by the address of its database, of which nothing is kept behind the
 * first "?" or ";" and nothing of a user. Product and version are asked of the driver once for each address,
 * when a connection has just been given: in mid-transaction that could disturb the host.
 *
 * Statements and connections are known weakly. Not every JVM has the module java.sql; this class is not to be
 * reached there. Called on the host's threads, many at once.
 */
final class DatabaseCalls {
  static final String UNKNOWN_STATEMENT = "unknown";

  private static final int MOST_PATTERNS = 500;
  /** Each may have a pattern of its own. */
  private static final int MOST_STATEMENTS = 5_000;
  private static final Set<String> QUERIES = Set.of("SELECT", "WITH", "VALUES", "SHOW", "EXPLAIN", "TABLE");
  private static final String USER = "^((?:[A-Za-z0-9+]+:)*(?://)?).*@";

  /** A database. A value. */
  private static final class Source {
    static final Source UNKNOWN = new Source(TallyLedger.OTHER, "", "", false);

    final TallyLedger.Kind kind;
    final boolean quotedNames;

    Source(String name, String product, String version, boolean quotedNames) {
      kind = new TallyLedger.Kind(0, name, product, version);
      this.quotedNames = quotedNames;
    }
  }

  /** A prepared statement. A value. */
  private static final class Prepared {
    final Source source;
    final String pattern;

    Prepared(Source source, String pattern) {
      this.source = source;
      this.pattern = pattern;
    }
  }

  /** By statement, since most come again and again: those with names in double quotes, and those without. */
  private final ConcurrentMap<String, String> quotedPatterns = new ConcurrentHashMap<>();
  private final ConcurrentMap<String, String> patterns = new ConcurrentHashMap<>();
  private final ConcurrentMap<String, Source> byAddress = new ConcurrentHashMap<>();
  /** Of connections, and of what they come from. */
  private final WeakIdentityMap<Source> sources = new WeakIdentityMap<>();
  private final WeakIdentityMap<Prepared> statements = new WeakIdentityMap<>(MOST_STATEMENTS);

  static boolean isRead(int kind, Object target) {
    return kind == Hooks.CONNECTION ? target instanceof DataSource || target instanceof Driver
        : kind == Hooks.STATEMENT   ? target instanceof Statement
                                    : target instanceof Connection;
  }

  /** Null for what is no wait. */
  HostCall read(int kind, Object target, Object argument, Object result) {
    switch (kind) {
      case Hooks.CONNECTION:
        return call(DelayType.CONNECTION, sourceOfNew(target, result), "connection");
      case Hooks.PREPARE:
        if (result instanceof PreparedStatement)
          statements.put(result, prepared((Connection) target, (String) argument));
        return null;
      case Hooks.COMMIT:
        return call(DelayType.TRANSACTION, sourceOf((Connection) target), "commit");
      case Hooks.ROLLBACK:
        return call(DelayType.TRANSACTION, sourceOf((Connection) target), "rollback");
      default:
        return executed((Statement) target, (String) argument, result instanceof ResultSet);
    }
  }

  private static HostCall call(DelayType type, Source source, String detail) {
    return new HostCall(type, source.kind.names.get(0), detail, source.kind);
  }

  private HostCall executed(Statement statement, String sql, boolean hasRows) {
    Prepared prepared = statements.get(statement);
    if (prepared == null)
      prepared = prepared(connectionOf(statement), sql);
    return call(hasRows || isQuery(prepared.pattern) ? DelayType.QUERY : DelayType.UPDATE, prepared.source,
        prepared.pattern);
  }

  private Prepared prepared(Connection connection, String sql) {
    Source source = sourceOf(connection);
    return new Prepared(source, sql == null ? UNKNOWN_STATEMENT : pattern(sql, source.quotedNames));
  }

  private String pattern(String sql, boolean quotedNames) {
    if (sql.length() > NamePatterns.LONGEST_NAME)
      return NamePatterns.ofSql(sql, quotedNames);
    ConcurrentMap<String, String> known = quotedNames ? quotedPatterns : patterns;
    String pattern = known.get(sql);
    if (pattern != null)
      return pattern;
    if (known.size() >= MOST_PATTERNS)
      known.clear();
    pattern = NamePatterns.ofSql(sql, quotedNames);
    known.put(sql, pattern);
    return pattern;
  }

  private static boolean isQuery(String pattern) {
    int end = 0;
    while (end < pattern.length() && Character.isLetter(pattern.charAt(end))) end++;
    return QUERIES.contains(pattern.substring(0, end).toUpperCase(Locale.ROOT));
  }

  private static Connection connectionOf(Statement statement) {
    try {
      return statement.getConnection();
    } catch (SQLException closed) {
      return null;
    }
  }

  /** A pool that gives no connection is known by those that it gave before. */
  private Source sourceOfNew(Object pool, Object connection) {
    if (!(connection instanceof Connection)) {
      Source known = sources.get(pool);
      return known == null ? Source.UNKNOWN : known;
    }
    Source source = known((Connection) connection, true);
    if (sources.get(pool) != source)
      sources.put(pool, source);
    return source;
  }

  private Source sourceOf(Connection connection) {
    return connection == null ? Source.UNKNOWN : known(connection, false);
  }

  private Source known(Connection connection, boolean isNew) {
    Source source = sources.get(connection);
    if (source == null) {
      source = ask(connection, isNew);
      if (isNew || source != Source.UNKNOWN)
        sources.put(connection, source);
    }
    return source;
  }

  /** Of one that is not new only the address is asked, which drivers have at hand. */
  private Source ask(Connection connection, boolean isNew) {
    try {
      DatabaseMetaData about = connection.getMetaData();
      String address = String.valueOf(about.getURL());
      Source known = byAddress.get(address);
      if (known == null && isNew && byAddress.size() < TallyLedger.MOST_KINDS) {
        known = new Source(name(address), text(about.getDatabaseProductName()),
            text(about.getDatabaseProductVersion()), "\"".equals(about.getIdentifierQuoteString()));
        byAddress.put(address, known);
      }
      return known == null ? Source.UNKNOWN : known;
    } catch (SQLException | RuntimeException | LinkageError untold) {
      return Source.UNKNOWN;
    }
  }

  static String name(String address) {
    String place = address.split("[?;]", 2)[0].replaceFirst("^jdbc:", "");
    return NamePatterns.shortened(Masking.withoutSecrets(place.replaceFirst(USER, "$1")));
  }

  private static String text(String told) { return told == null ? "" : NamePatterns.shortened(told); }
}
