package zov.weaver;

/**
 * What a method is woven with: a hook that is called when it is entered, and one when it is left, by a return
 * or an exception. What the first returns is the second's token. A value, never changed.
 */
final class Advice {
  /** In place of an argument's number: the object whose method it is, and none. */
  static final int THIS = -1;
  static final int NONE = -2;

  /** Stands for a hook that takes no kind. */
  private static final int NO_KIND = 0;

  /** The name of a hook: of its descriptor, too. */
  final String begin;
  final String end;
  final int kind;
  /** Which arguments the hook gets, by number, from 0. */
  final int first;
  final int second;

  private Advice(String begin, String end, int kind, int first, int second) {
    this.begin = begin;
    this.end = end;
    this.kind = kind;
    this.first = first;
    this.second = second;
  }

  static Advice entry(int exchange, int response) {
    return new Advice("enter", "leave", NO_KIND, exchange, response);
  }

  /** The method ends an exchange, or may. */
  static Advice end(int exchange) { return new Advice("ending", "ended", NO_KIND, exchange, NONE); }

  /** The method may wait; its target and an argument that says on what. */
  static Advice delay(int kind, int target, int argument) {
    return new Advice("delayBegin", "delayEnd", kind, target, argument);
  }

  boolean hasKind() { return kind != NO_KIND; }
}
