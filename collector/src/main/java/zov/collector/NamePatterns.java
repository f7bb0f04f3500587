package zov.collector;

/**
 * Makes names of which there are few out of texts of which there may be millions, and takes out of them what
 * was meant for one request only: the identifiers of a path and the literals of a statement. What cannot be
 * told for certain from a literal is treated as one.
 *
 * Every function takes time in proportion to at most {@link #LONGEST_TEXT} characters of its text and
 * answers at most {@link #LONGEST_NAME}; "..." stands for what was cut off. Called by the host's threads;
 * nothing is kept.
 */
final class NamePatterns {
  static final int LONGEST_NAME = 1000;
  /** What stands behind so many characters is not read. */
  static final int LONGEST_TEXT = 10_000;
  static final String IDENTIFIER = "{id}";
  static final char LITERAL = '?';

  private static final String CUT = "...";
  private static final int LONGEST_WORD = 64;
  private static final int TOKEN = 16;
  private static final int SHORTEST_HEXADECIMAL = 8;
  private static final int LONGEST_EXTENSION = 5;
  private static final int LONGEST_VERSION = 3;

  private NamePatterns() {}

  /**
   * The path of an address, or a name with slashes in it, without query, fragment and what follows a ";" in
   * a part of it. A part is an identifier when most of it is digits (a version as "v2" apart), it is a long
   * run of letters and digits, hexadecimal, an address of mail or an assignment. Its extension stays.
   */
  static String ofPath(String path) {
    StringBuilder out = new StringBuilder();
    int end = Math.min(path.length(), LONGEST_TEXT);
    int at = 0;
    while (at < end && out.length() <= LONGEST_NAME) {
      int from = at;
      while (at < end && "/;?#".indexOf(path.charAt(at)) < 0) at++;
      appendPart(out, path.substring(from, at));
      while (at < end && "/?#".indexOf(path.charAt(at)) < 0) at++;
      if (at < end && path.charAt(at) != '/')
        return shortened(out, false);
      if (at < end)
        out.append(path.charAt(at++));
    }
    return shortened(out, at < path.length());
  }

  private static void appendPart(StringBuilder out, String part) {
    int dot = part.lastIndexOf('.');
    boolean extended = dot > 0 && part.length() - dot - 1 <= LONGEST_EXTENSION && dot + 1 < part.length()
        && Character.isLetter(part.charAt(dot + 1));
    int end = extended ? dot : part.length();
    if (!isIdentifier(part, end))
      out.append(part);
    else
      out.append(IDENTIFIER).append(part, end, part.length());
  }

  private static boolean isIdentifier(String part, int end) {
    int digits = 0;
    int letters = 0;
    int run = 0;
    int longestRun = 0;
    boolean hexadecimal = true;
    for (int i = 0; i < end; i++) {
      char c = part.charAt(i);
      if (c == '@' || c == '=' || part.startsWith("%40", i))
        return true;
      boolean digit = Character.isDigit(c);
      boolean letter = Character.isLetter(c);
      digits += digit ? 1 : 0;
      letters += letter ? 1 : 0;
      run = digit || letter ? run + 1 : 0;
      longestRun = Math.max(longestRun, run);
      hexadecimal &= !letter || Character.digit(c, 16) >= 0;
    }
    if (digits == 0 || isVersion(part, end))
      return end > LONGEST_WORD;
    return digits > letters || longestRun >= TOKEN || end > LONGEST_WORD
        || hexadecimal && digits + letters >= SHORTEST_HEXADECIMAL;
  }

  private static boolean isVersion(String part, int end) {
    boolean version = end > 1 && end <= 1 + LONGEST_VERSION && (part.charAt(0) | ' ') == 'v';
    for (int i = 1; i < end; i++) version &= Character.isDigit(part.charAt(i));
    return version;
  }

  /**
   * A statement of SQL in one line, without comments; a list of literals or parameters is one. In double
   * quotes are names, or else literals as some databases have it.
   *
   * Databases differ in whether a literal ends at a quote behind a backslash, and in what ends one that
   * begins with q'; so the pattern ends there.
   */
  static String ofSql(String sql, boolean quotedNames) { return new Sql(sql, quotedNames).pattern(); }

  static String shortened(String name) { return shortened(new StringBuilder(name), false); }

  private static String shortened(StringBuilder name, boolean cut) {
    if (!cut && name.length() <= LONGEST_NAME)
      return name.toString();
    int end = Math.min(name.length(), LONGEST_NAME - CUT.length());
    if (end > 0 && Character.isHighSurrogate(name.charAt(end - 1)))
      end--;
    return name.substring(0, end) + CUT;
  }

  /** One pass over one statement. */
  private static final class Sql {
    private final String sql;
    private final boolean quotedNames;
    private final StringBuilder out = new StringBuilder();
    private int at;
    private boolean blank;
    private boolean cut;

    Sql(String whole, boolean quotedNames) {
      sql = whole.substring(0, Math.min(whole.length(), LONGEST_TEXT));
      this.quotedNames = quotedNames;
      cut = sql.length() < whole.length();
    }

    String pattern() {
      while (at < sql.length() && out.length() <= LONGEST_NAME) step(sql.charAt(at));
      return shortened(out, cut);
    }

    private void step(char c) {
      if (Character.isWhitespace(c)) {
        at++;
        blank = true;
      } else if (sql.startsWith("--", at) || c == '#' && !isWord(at + 1)) {
        skipPast("\n", at);
        blank = true;
      } else if (sql.startsWith("/*", at)) {
        skipPast("*/", at + 2);
        blank = true;
      } else if (c == '\'' || c == '"' && !quotedNames) {
        literal(c);
      } else if (c == '"' || c == '`') {
        int from = at;
        skipPast(String.valueOf(c), at + 1);
        append(from);
      } else if (c == '$') {
        dollar();
      } else if (isDigit(at) || c == '.' && isDigit(at + 1)) {
        skipNumber();
        value();
      } else if (c == LITERAL) {
        at++;
        value();
      } else {
        int from = at++;
        while (isWord(from) && (isWord(at) || is('$', at))) at++;
        append(from);
      }
    }

    private void skipPast(String mark, int from) {
      int found = sql.indexOf(mark, from);
      at = found < 0 ? sql.length() : found + mark.length();
    }

    private void literal(char quote) {
      boolean ownQuotes = at > 0 && (sql.charAt(at - 1) | ' ') == 'q';
      at++;
      while (at < sql.length()) {
        char c = sql.charAt(at++);
        if (ownQuotes || c == '\\' && is(quote, at)) {
          at = sql.length();
          cut = true;
        } else if (c == quote && !is(quote, at)) {
          break;
        } else if (c == quote) {
          at++;
        }
      }
      value();
    }

    /** A literal between two "$WORD$", or else a parameter. */
    private void dollar() {
      int from = at++;
      while (isWord(at)) at++;
      if (!is('$', at)) {
        append(from);
        return;
      }
      skipPast(sql.substring(from, at + 1), at + 1);
      value();
    }

    private void skipNumber() {
      while (isWord(at) || is('.', at) || isSignOfExponent()) at++;
    }

    private boolean isSignOfExponent() {
      return (is('-', at) || is('+', at)) && (sql.charAt(at - 1) | ' ') == 'e' && isDigit(at + 1);
    }

    private boolean is(char c, int place) { return place < sql.length() && sql.charAt(place) == c; }

    private boolean isDigit(int place) {
      return place < sql.length() && Character.isDigit(sql.charAt(place));
    }

    private boolean isWord(int place) {
      return place < sql.length() && (Character.isLetterOrDigit(sql.charAt(place)) || is('_', place));
    }

    /** A value that goes on with a list of them is left out. */
    private void value() {
      int last = out.length() - 1;
      if (last > 0 && out.charAt(last) == ',' && out.charAt(last - 1) == LITERAL)
        out.setLength(last);
      else
        appendBlank().append(LITERAL);
      blank = false;
    }

    private void append(int from) {
      appendBlank().append(sql, from, at);
      blank = false;
    }

    private StringBuilder appendBlank() { return blank && out.length() > 0 ? out.append(' ') : out; }
  }
}
