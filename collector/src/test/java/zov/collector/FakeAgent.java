package zov.collector;

import java.io.Closeable;
import java.io.DataInputStream;
import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;

/** The other side of a session, on a real socket; every wait of it ends after some seconds. */
final class FakeAgent implements Closeable {
  private static final int MOST_MILLIS = 20_000;

  private final ServerSocket listener;
  private Socket peer = new Socket();
  private Message lastPing;

  FakeAgent() throws IOException {
    listener = new ServerSocket(0, 10, InetAddress.getLoopbackAddress());
    listener.setSoTimeout(MOST_MILLIS);
  }

  int port() { return listener.getLocalPort(); }

  Socket connect() throws IOException { return new Socket(listener.getInetAddress(), port()); }

  /** Takes the next connection, dropping the one before. */
  FakeAgent accept() throws IOException {
    peer.close();
    peer = listener.accept();
    peer.setSoTimeout(MOST_MILLIS);
    return this;
  }

  /** Takes the next connection and says yes to its ping. */
  FakeAgent welcome() throws IOException {
    accept();
    lastPing = message();
    return send(Hex.request(5, Hex.number(13, lastPing.number(13)), Hex.number(14, 2)));
  }

  /** The one that was said yes to last. */
  Message lastPing() { return lastPing; }

  FakeAgent send(String body) throws IOException { return sendRaw(Hex.frame(body)); }

  FakeAgent sendRaw(String hex) throws IOException {
    peer.getOutputStream().write(Hex.bytes(hex));
    return this;
  }

  /** The body of the next frame. */
  String receive() throws IOException {
    DataInputStream in = new DataInputStream(peer.getInputStream());
    return Hex.of(in.readNBytes(in.readInt()));
  }

  Message message() throws IOException { return Message.parse(Hex.bytes(receive())); }

  /** Waits until the collector, which has a reason to, has ended the session; pings move it to look. */
  void endSession() {
    try {
      for (int i = 0; i < 1000; i++) send(Hex.request(1, Hex.number(13, 1))).message();
    } catch (IOException ended) {
      return;
    }
    throw new AssertionError("The session has not ended");
  }

  void hangUp() throws IOException { peer.close(); }

  @Override
  public void close() throws IOException {
    peer.close();
    listener.close();
  }
}
