package zov.collector;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.Deque;

/** A host that, for each line on its standard input, makes much garbage, keeps some, and says so. */
public final class Churning {
  private static final int BLOCK_BYTES = 100_000;
  private static final int BLOCKS = 1_000;
  private static final int KEPT_BLOCKS = 60;

  private Churning() {}

  public static void main(String[] arguments) throws IOException {
    BufferedReader in = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
    Deque<byte[]> kept = new ArrayDeque<>();
    while (in.readLine() != null) {
      for (int i = 0; i < BLOCKS; i++) {
        kept.add(new byte[BLOCK_BYTES]);
        if (kept.size() > KEPT_BLOCKS)
          kept.remove();
      }
      System.gc();
      System.out.println("done");
    }
  }
}
