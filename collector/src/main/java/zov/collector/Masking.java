package zov.collector;

import java.util.regex.Pattern;

/**
 * Takes secrets out of texts, in time linear in their length: each character belongs to one word, and each
 * word is looked at a fixed number of times.
 */
final class Masking {
  static final String HIDDEN = "********";

  /** What speaks of a secret in a name; "pass" and "pwd" are in PGPASS and passphrase too. */
  private static final Pattern SECRET_NAME = Pattern.compile(
      "pass|pwd|secret|token|credential|auth|private|(?:api|access|encryption|signing)[._-]?key|_key$",
      Pattern.CASE_INSENSITIVE);

  private Masking() {}

  /**
   * The text with asterisks in place of what a secret's name is set to ({@code db.password=tiger}), and of
   * what an address says before its host ({@code jdbc:x://user:tiger@host}).
   */
  static String withoutSecrets(CharSequence text) {
    StringBuilder out = new StringBuilder(text.length());
    int start = 0;
    for (int i = 0; i < text.length(); i++) {
      if (!isSeparator(text.charAt(i)))
        continue;
      appendWord(text, start, i, out);
      out.append(text.charAt(i));
      start = i + 1;
    }
    appendWord(text, start, text.length(), out);
    return out.toString();
  }

  private static void appendWord(CharSequence text, int start, int end, StringBuilder out) {
    int nameStart = start;
    for (int i = start; i < end; i++) {
      if (text.charAt(i) != '=')
        continue;
      if (SECRET_NAME.matcher(text).region(nameStart, i).find()) {
        appendAddress(text, start, i + 1, out);
        out.append(HIDDEN);
        return;
      }
      nameStart = i + 1;
    }
    appendAddress(text, start, end, out);
  }

  /** Hides what is between the first ":" and the last "@". */
  private static void appendAddress(CharSequence text, int start, int end, StringBuilder out) {
    int colon = end;
    int at = end;
    for (int i = start; i < end; i++) {
      if (text.charAt(i) == ':' && colon == end)
        colon = i;
      if (text.charAt(i) == '@' && colon < end)
        at = i;
    }
    if (at == end) {
      out.append(text, start, end);
      return;
    }
    out.append(text, start, colon + 1).append(HIDDEN).append(text, at, end);
  }

  private static boolean isSeparator(char c) {
    return Character.isWhitespace(c) || c == ';' || c == ',' || c == '&' || c == '?';
  }
}
