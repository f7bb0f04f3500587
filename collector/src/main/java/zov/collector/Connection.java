package zov.collector;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.InetSocketAddress;
import java.net.ProtocolException;
import java.net.Proxy;
import java.net.Socket;
import java.net.StandardSocketOptions;
import java.nio.ByteBuffer;
import java.util.function.LongSupplier;
import jdk.net.ExtendedSocketOptions;

/**
 * Frames over one socket to the agent, which it owns. Used by the collector's thread only.
 *
 * A frame that announces more than {@link #LARGEST_FRAME} bytes, or one that stalls half-way, ends the
 * connection with an exception; memory grows with the bytes that have come, not with what was announced.
 */
final class Connection implements Closeable {
  static final int LARGEST_FRAME = 1 << 20;

  private static final int CONNECT_MILLIS = 10_000;
  private static final int REST_OF_FRAME_MILLIS = 60_000;

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

  /** Sessions are silent between polls, so that only the kernel can tell that the agent's host has gone. */
  private static void noticeLostPeer(Socket socket) throws IOException {
    socket.setOption(StandardSocketOptions.SO_KEEPALIVE, true);
    if (!socket.supportedOptions().contains(ExtendedSocketOptions.TCP_KEEPIDLE))
      return;
    socket.setOption(ExtendedSocketOptions.TCP_KEEPIDLE, 60);
    socket.setOption(ExtendedSocketOptions.TCP_KEEPINTERVAL, 15);
    socket.setOption(ExtendedSocketOptions.TCP_KEEPCOUNT, 4);
  }

  /** Bytes may stay in the buffer until {@link #flush}. */
  void send(Message message) throws IOException { out.write(message.toFrame()); }

  void flush() throws IOException {
    out.flush();
    lastFlush = nanoTime.getAsLong();
  }

  /** Nanoseconds since the last flush. */
  long quietFor() { return nanoTime.getAsLong() - lastFlush; }

  /** Waits for a frame to begin for the given time, 0 being without limit. */
  Message receive(int timeoutMillis) throws IOException {
    flush();
    socket.setSoTimeout(timeoutMillis);
    int first = in.read();
    if (first < 0)
      throw closed();
    socket.setSoTimeout(REST_OF_FRAME_MILLIS);
    int length = ByteBuffer.allocate(Integer.BYTES).put((byte) first).put(read(Integer.BYTES - 1)).getInt(0);
    if (length < Message.HEADER_BYTES || length > LARGEST_FRAME) {
      throw new ProtocolException("The agent announces a message of " + Integer.toUnsignedString(length)
          + " bytes; accepted are " + Message.HEADER_BYTES + " to " + LARGEST_FRAME);
    }
    return Message.parse(read(length));
  }

  private byte[] read(int count) throws IOException {
    byte[] bytes = in.readNBytes(count);
    if (bytes.length < count)
      throw closed();
    return bytes;
  }

  private static EOFException closed() { return new EOFException("The agent has closed the connection"); }

  @Override
  public void close() throws IOException {
    socket.close();
  }
}
