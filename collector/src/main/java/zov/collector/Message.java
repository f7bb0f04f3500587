package zov.collector;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.net.ProtocolException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.LinkedHashMap;
import java.util.Map;

/**
 * One message between agent and collector, or between a server's collector and its statistics JVM: a request,
 * a response or a sample.
 *
 * On the wire it is a frame of big-endian integers: length of the body (4 bytes), then the body of format
 * (2), data type (2), subtype (4), and fields up to its end. A numeric field is the word 1, the key and 8
 * bytes; any other field is a word, the key, a byte count and UTF-8 text. Nulls are not sent: an empty text,
 * the number 0 in a request, the number -1 in a sample.
 *
 * Numbers go out in the order in which they were put, and texts behind them in theirs. Not thread-safe.
 */
final class Message {
  static final int REQUEST = 1;
  static final int SAMPLE = 2;
  static final int HEADER_BYTES = 8;
  /** A frame that announces more is refused. */
  static final int LARGEST_FRAME = 1 << 20;
  static final int STATUS_REFUSED = 1;
  static final int STATUS_ACCEPTED = 2;

  private static final int FORMAT = 2;
  private static final int END = 0;
  private static final int NUMERIC_FIELD = 1;
  private static final int TEXT_FIELD = 2;

  final int dataType;
  final int subtype;
  private final Map<Integer, Long> numbers = new LinkedHashMap<>();
  private final Map<Integer, String> texts = new LinkedHashMap<>();

  private Message(int dataType, int subtype) {
    this.dataType = dataType;
    this.subtype = subtype;
  }

  static Message request(int type) { return new Message(REQUEST, type); }

  static Message sample(int type) { return new Message(SAMPLE, type); }

  /** A sample of what happened in so many milliseconds, of which the last is now. */
  static Message intervalSample(int type, long unixMillis, long millis) {
    return sample(type)
        .number(Keys.SAMPLE_TIME, unixMillis / 1000)
        .number(Keys.DURATION, Math.max(1, Math.round(millis / 1000.0)))
        .number(Keys.INTERVAL_MILLISECONDS, millis);
  }

  /** A positive answer to the request. */
  static Message accepted(Message request) { return response(request, STATUS_ACCEPTED); }

  /** A negative one: a return code of the agent's, and the reason in words. */
  static Message refused(Message request, long code, String reason) {
    return response(request, STATUS_REFUSED)
        .number(RequestKeys.VALUE, code)
        .text(RequestKeys.MESSAGE, reason);
  }

  private static Message response(Message request, int status) {
    return request(RequestTypes.RESPONSE_TYPE)
        .number(RequestKeys.CORRELATOR, request.number(RequestKeys.CORRELATOR))
        .number(RequestKeys.STATUS, status);
  }

  boolean isRequest(int type) { return dataType == REQUEST && subtype == type; }

  boolean isSample(int type) { return dataType == SAMPLE && subtype == type; }

  Message number(int key, long value) {
    numbers.put(key, value);
    return this;
  }

  Message text(int key, String value) {
    texts.put(key, value);
    return this;
  }

  /** 0 when the field is absent. */
  long number(int key) { return numbers.getOrDefault(key, 0L); }

  /** Empty when the field is absent. */
  String text(int key) { return texts.getOrDefault(key, ""); }

  /** The whole frame, length word included. */
  byte[] toFrame() {
    ByteArrayOutputStream body = new ByteArrayOutputStream();
    try (DataOutputStream out = new DataOutputStream(body)) {
      out.writeInt(0);
      out.writeShort(FORMAT);
      out.writeShort(dataType);
      out.writeInt(subtype);
      long nullNumber = dataType == SAMPLE ? -1 : 0;
      for (Map.Entry<Integer, Long> field : numbers.entrySet()) {
        if (field.getValue() == nullNumber)
          continue;
        out.writeInt(NUMERIC_FIELD);
        out.writeInt(field.getKey());
        out.writeLong(field.getValue());
      }
      for (Map.Entry<Integer, String> field : texts.entrySet()) {
        byte[] text = upToNul(field.getValue()).getBytes(StandardCharsets.UTF_8);
        if (text.length == 0)
          continue;
        out.writeInt(TEXT_FIELD);
        out.writeInt(field.getKey());
        out.writeInt(text.length);
        out.write(text);
      }
    } catch (IOException impossible) {
      throw new UncheckedIOException(impossible);
    }
    byte[] frame = body.toByteArray();
    ByteBuffer.wrap(frame).putInt(frame.length - Integer.BYTES);
    return frame;
  }

  /** The next frame; memory grows with the bytes that have come, not with what was announced. */
  static Message read(InputStream in) throws IOException {
    int length = ByteBuffer.wrap(read(in, Integer.BYTES)).getInt();
    if (length < HEADER_BYTES || length > LARGEST_FRAME) {
      throw new ProtocolException("A message of " + Integer.toUnsignedString(length)
          + " bytes is announced; accepted are " + HEADER_BYTES + " to " + LARGEST_FRAME);
    }
    return parse(read(in, length));
  }

  private static byte[] read(InputStream in, int count) throws IOException {
    byte[] bytes = in.readNBytes(count);
    if (bytes.length < count)
      throw new EOFException("The other side has closed the connection");
    return bytes;
  }

  /** Rebuilds what a peer has sent; a body that does not hold what it announces is refused. */
  static Message parse(byte[] body) throws ProtocolException {
    ByteBuffer in = ByteBuffer.wrap(body);
    require(in, HEADER_BYTES);
    in.getShort();
    Message message = new Message(in.getShort() & 0xffff, in.getInt());
    while (in.hasRemaining()) {
      require(in, 4);
      int fieldType = in.getInt();
      if (fieldType == END)
        break;
      require(in, fieldType == NUMERIC_FIELD ? 12 : 8);
      int key = in.getInt();
      if (fieldType == NUMERIC_FIELD) {
        message.number(key, in.getLong());
        continue;
      }
      int count = in.getInt();
      require(in, count);
      message.text(key, new String(body, in.position(), count, StandardCharsets.UTF_8));
      in.position(in.position() + count);
    }
    return message;
  }

  private static void require(ByteBuffer in, int bytes) throws ProtocolException {
    if (bytes >= 0 && in.remaining() >= bytes)
      return;
    throw new ProtocolException("A message from the agent is cut short: " + bytes
        + " bytes are announced and " + in.remaining() + " are there");
  }

  /** A receiver takes the text to end at a NUL. */
  private static String upToNul(String text) {
    int nul = text.indexOf('\0');
    return nul < 0 ? text : text.substring(0, nul);
  }
}
