package zov.demo;

import java.io.IOException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.time.Duration;
import java.util.concurrent.ThreadLocalRandom;

/** One visitor of the shop: never more than one request at a time, about ten a second. */
final class Load implements Runnable {
  private final String base;
  private final HttpClient client = HttpClient.newHttpClient();

  Load(String base) { this.base = base; }

  @Override
  public void run() {
    ThreadLocalRandom random = ThreadLocalRandom.current();
    try {
      while (true) {
        get(random.nextInt(3) == 0 ? "order?item=" + random.nextInt(1, 13) : "catalog");
        Thread.sleep(random.nextInt(50, 150));
      }
    } catch (InterruptedException stopped) {
      Thread.currentThread().interrupt();
    }
  }

  private void get(String page) throws InterruptedException {
    HttpRequest request =
        HttpRequest.newBuilder(URI.create(base + page)).timeout(Duration.ofSeconds(10)).build();
    try {
      client.send(request, HttpResponse.BodyHandlers.discarding());
    } catch (IOException closedOrSlow) {
      // The next request tries again.
    }
  }
}
