package zov.collector;

import java.net.HttpURLConnection;
import java.net.URI;
import java.net.URL;
import java.net.http.HttpRequest;
import zov.boot.Hooks;

/**
 * Reads what the host's threads waited for, and keeps it in the ledger and in the request that it is of. Made
 * when tracing starts, and dropped with all it knows of the host's objects when it stops. Called on the
 * host's threads, many at once.
 */
final class HostDelays implements Delays {
  private final DelayLedger ledger;
  /** Its answer can be asked for again and again, and has been waited for once. */
  private final WeakIdentityMap<Boolean> answered = new WeakIdentityMap<>();
  private volatile DatabaseCalls databases;

  HostDelays(DelayLedger ledger) { this.ledger = ledger; }

  @Override
  public boolean isWanted(int kind, Object target, boolean measured) {
    if (!measured && kind != Hooks.PREPARE)
      return false;
    if (kind <= Hooks.PREPARE)
      return DatabaseCalls.isRead(kind, target);
    if (kind <= Hooks.BROWSE)
      return MessageCalls.isRead(kind, target);
    return kind != Hooks.CALL || answered.get(target) == null;
  }

  @Override
  public void ended(TracedRequest request, int kind, long nanos, Object target, Object argument,
      Object result, Throwable thrown) {
    boolean declined =
        kind == Hooks.CONNECTION && result == null && thrown == null; // a driver, of another's address
    HostCall call = declined ? null : read(kind, target, argument, result);
    if (call == null)
      return;
    double weight = request == null ? 1 : request.weight;
    if (call.place != null && call.type.isOfDatabase())
      ledger.addDataSource(call.type, call.place, weight, nanos);
    if (call.place != null && call.type.isOfMessages())
      ledger.addQueue(call.type, call.place, weight, nanos);
    if (request == null)
      return;
    request.delay(call.type, nanos);
    request.part(call.type, nanos, call.detail1, call.detail2);
  }

  @Override
  public void ended(TracedRequest request) {
    for (TracedRequest.Part part : request.parts) ledger.addPart(request, part);
  }

  private HostCall read(int kind, Object target, Object argument, Object result) {
    if (kind <= Hooks.PREPARE)
      return databases().read(kind, target, argument, result);
    if (kind <= Hooks.BROWSE)
      return MessageCalls.read(kind, target, argument, result);
    if (kind == Hooks.LOOK_UP)
      return new HostCall(DelayType.LOOK_UP, NamePatterns.ofPath(String.valueOf(argument)), "", null);
    if (kind == Hooks.CALL_OF_CLIENT) {
      HttpRequest request = (HttpRequest) argument;
      URI address = request.uri();
      return callTo(
          address.getScheme(), address.getHost(), address.getPort(), request.method(), address.getRawPath());
    }
    answered.put(target, true);
    HttpURLConnection connection = (HttpURLConnection) target;
    URL address = connection.getURL();
    return callTo(address.getProtocol(), address.getHost(), address.getPort(), connection.getRequestMethod(),
        address.getPath());
  }

  /** No user and no query. */
  private static HostCall callTo(String scheme, String host, int port, String method, String path) {
    String server = scheme + "://" + host + (port < 0 ? "" : ":" + port);
    return new HostCall(DelayType.CALL, NamePatterns.shortened(server),
        method + " " + NamePatterns.ofPath(path == null ? "" : path), null);
  }

  private DatabaseCalls databases() {
    if (databases == null) {
      synchronized (this) {
        if (databases == null)
          databases = new DatabaseCalls();
      }
    }
    return databases;
  }
}
