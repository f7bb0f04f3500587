package zov.collector;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.InetSocketAddress;
import java.net.Proxy;
import java.net.Socket;
import java.net.SocketOption;
import java.net.SocketTimeoutException;
import java.net.StandardSocketOptions;
import java.util.Map;
import java.util.function.LongSupplier;

/**
 * Frames over one socket to the agent, which it owns. Used by the collector's thread only.
 *
 * A frame that announces too much, or one that stalls half-way, ends the connection with an exception.
 */
final class Connection implements Closeable {
  private static final int CONNECT_MILLIS = 10_000;
  private static final int REST_OF_FRAME_MILLIS = 60_000;

  /** Named, since not every JVM has the class that they stand in. */
  private static final Map<String, Integer> KEEPALIVE =
      Map.of("TCP_KEEPIDLE", 60, "TCP_KEEPINTERVAL", 15, "TCP_KEEPCOUNT", 4);

  private final Socket socket;
  private final InputStream in;
  private final OutputStream out;
  private final LongSupplier nanoTime;
  private long lastFlush;

  Connection(Socket socket, LongSupplier nanoTime) throws IOException {
    this.socket = socket;
    this.nanoTime = nanoTime;
    in = new BufferedInputStream(socket.getInputStream());
    out = new BufferedOutputStream(socket.getOutputStream());
    lastFlush = nanoTime.getAsLong();
  }

  static Connection open(String host, int port, LongSupplier nanoTime) throws IOException {
    Socket socket = new Socket(Proxy.NO_PROXY);
    try {
      socket.connect(new InetSocketAddress(host, port), CONNECT_MILLIS);
      socket.setTcpNoDelay(true);
      noticeLostPeer(socket);
      return new Connection(socket, nanoTime);
    } catch (IOException | RuntimeException failure) {
      socket.close();
      throw failure;
    }
  }

  /**
   * Sessions are silent between polls, so that only the kernel can tell that the agent's host has gone. The
   * limits are there where the JVM has the module jdk.net; else the system's hold.
   */
  private static void noticeLostPeer(Socket socket) throws IOException {
    socket.setOption(StandardSocketOptions.SO_KEEPALIVE, true);
    for (SocketOption<?> option : socket.supportedOptions()) {
      Integer value = KEEPALIVE.get(option.name());
      if (value != null && option.type() == Integer.class)
        socket.setOption(integer(option), value);
    }
  }

  @SuppressWarnings("unchecked")
  private static SocketOption<Integer> integer(SocketOption<?> option) {
    return (SocketOption<Integer>) option;
  }

  /** Bytes may stay in the buffer until {@link #flush}. */
  void send(Message message) throws IOException { out.write(message.toFrame()); }

  void flush() throws IOException {
    out.flush();
    lastFlush = nanoTime.getAsLong();
  }

  /** Nanoseconds since the last flush. */
  long quietFor() { return nanoTime.getAsLong() - lastFlush; }

  /** Whether a frame begins within the time. */
  boolean awaitFrame(int timeoutMillis) throws IOException {
    flush();
    socket.setSoTimeout(timeoutMillis);
    in.mark(1);
    try {
      if (in.read() < 0)
        throw closed();
    } catch (SocketTimeoutException silence) {
      return false;
    }
    in.reset();
    return true;
  }

  /** Waits for a frame to begin for the given time. */
  Message receive(int timeoutMillis) throws IOException {
    if (!awaitFrame(timeoutMillis))
      throw new SocketTimeoutException("The agent has not answered within " + timeoutMillis + " ms");
    socket.setSoTimeout(REST_OF_FRAME_MILLIS);
    return Message.read(in);
  }

  private static EOFException closed() { return new EOFException("The agent has closed the connection"); }

  @Override
  public void close() throws IOException {
    socket.close();
  }
}
