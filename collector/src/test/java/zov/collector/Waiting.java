package zov.collector;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Deque;

/**
 * A host that waits for its standard input to end, and makes garbage, of which it keeps some, for each byte
 * there.
 */
public final class Waiting {
  private Waiting() {}

  public static void main(String[] arguments) throws IOException {
    System.out.println("ready");
    Deque<byte[]> kept = new ArrayDeque<>();
    while (System.in.read() >= 0) {
      for (int i = 0; i < 1_000; i++) {
        kept.add(new byte[100_000]);
        if (kept.size() > 60)
          kept.remove();
      }
      System.gc();
      System.out.println("done");
    }
  }
}
