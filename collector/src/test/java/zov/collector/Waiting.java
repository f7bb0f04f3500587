package zov.collector;

import java.io.IOException;

/** A host that does nothing until its standard input ends. */
public final class Waiting {
  private Waiting() {}

  public static void main(String[] arguments) throws IOException {
    System.out.println("ready");
    while (System.in.read() >= 0) continue;
  }
}
