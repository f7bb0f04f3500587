package zov.collector;

import java.util.ArrayList;
import java.util.List;
import java.util.Objects;

/** The few words that the tests need: cases that run in order, and what they hold to be true. */
final class Check {
  interface Body {
    void run() throws Exception;
  }

  private static final List<String> failed = new ArrayList<>();

  private Check() {}

  static void test(String name, Body body) {
    try {
      body.run();
      System.out.println("ok      " + name);
    } catch (Throwable failure) {
      failed.add(name);
      System.out.println("FAILED  " + name);
      failure.printStackTrace(System.out);
    }
  }

  static int failures() { return failed.size(); }

  static void equal(Object expected, Object actual) {
    if (!Objects.equals(expected, actual)) {
      throw new AssertionError("\n  expected " + expected + "\n  actual   " + actual);
    }
  }

  static void holds(boolean condition, Object about) {
    if (!condition)
      throw new AssertionError("does not hold for " + about);
  }

  static String failureOf(Class<? extends Exception> type, Body body) throws Exception {
    try {
      body.run();
    } catch (Exception failure) {
      if (type.isInstance(failure))
        return String.valueOf(failure.getMessage());
      throw failure;
    }
    throw new AssertionError(type.getSimpleName() + " was expected");
  }
}
