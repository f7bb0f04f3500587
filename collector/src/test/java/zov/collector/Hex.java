package zov.collector;

import java.nio.charset.StandardCharsets;

/** Messages written down byte for byte, independent of the code that they check. */
final class Hex {
  private Hex() {}

  static String number(int key, long value) { return String.format("00000001%08x%016x", key, value); }

  static String text(int key, String value) {
    byte[] bytes = value.getBytes(StandardCharsets.UTF_8);
    return String.format("00000002%08x%08x", key, bytes.length) + of(bytes);
  }

  static String request(int type, String... fields) {
    return String.format("00020001%08x", type) + String.join("", fields);
  }

  static String sample(int type, String... fields) {
    return String.format("00020002%08x", type) + String.join("", fields);
  }

  static String frame(String body) { return String.format("%08x", body.length() / 2) + body; }

  static String of(byte[] bytes) {
    StringBuilder text = new StringBuilder();
    for (byte b : bytes) text.append(String.format("%02x", b));
    return text.toString();
  }

  static byte[] bytes(String hex) {
    byte[] bytes = new byte[hex.length() / 2];
    for (int i = 0; i < bytes.length; i++) {
      bytes[i] = (byte) Integer.parseInt(hex.substring(2 * i, 2 * i + 2), 16);
    }
    return bytes;
  }
}
