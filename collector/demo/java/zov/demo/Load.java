package zov.demo;

import java.io.IOException;
import java.net.CookieManager;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.time.Duration;
import java.util.concurrent.ThreadLocalRandom;

/**
 * One customer of the shop, with a session: never more than one request at a time, three or four a second.
 */
final class Load implements Runnable {
  private final String base;
  private final HttpClient client = HttpClient.newBuilder().cookieHandler(new CookieManager()).build();

  Load(String base) { this.base = base; }

  @Override
  public void run() {
    ThreadLocalRandom random = ThreadLocalRandom.current();
    try {
      while (true) {
        int item = random.nextInt(1, 13);
        String[] pages = {"shop/catalog", "stock/level?item=" + item, "shop/order?item=" + item,
            "shop/inventory.jsp?item=" + item};
        get(random.nextInt(5) == 0 ? Depot.PAGES[random.nextInt(Depot.PAGES.length)]
                                   : pages[random.nextInt(pages.length)]);
        Thread.sleep(random.nextInt(150, 450));
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
