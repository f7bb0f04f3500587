package zov.weaver;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import java.util.Set;
import java.util.stream.Stream;
import org.objectweb.asm.Opcodes;
import zov.boot.Hooks;

/**
 * Where requests wait for others: databases, messaging, outgoing calls, look-ups.
 *
 * Those of the JDK are known by their classes. Drivers and providers are anybody's; a class of theirs is one
 * that speaks of the exception of its API, and a method one of a name and form that the API has. So some
 * methods are woven that are none, and whoever is told of the calls looks at the object that is called.
 */
final class Delays implements Points {
  private static final String[] JDK = {"java/", "javax/", "jdk/", "sun/"};
  private static final byte[][] MARKS =
      Stream
          .of("java/sql/SQLException", "javax/jms/JMSException", "jakarta/jms/JMSException",
              "javax/jms/JMSProducer", "jakarta/jms/JMSProducer", "javax/jms/JMSConsumer",
              "jakarta/jms/JMSConsumer")
          .map(name -> name.getBytes(StandardCharsets.US_ASCII))
          .toArray(byte[][] ::new);
  private static final Set<String> TYPES = Set.of("java.sql.Connection", "java.sql.Statement",
      "java.sql.Driver", "javax.sql.DataSource", "javax.jms.MessageProducer", "javax.jms.MessageConsumer",
      "javax.jms.QueueBrowser", "javax.jms.JMSProducer", "jakarta.jms.MessageProducer",
      "jakarta.jms.MessageConsumer", "jakarta.jms.QueueBrowser", "jakarta.jms.JMSProducer",
      "javax.jms.JMSConsumer", "jakarta.jms.JMSConsumer");
  private static final String TEXT = "Ljava/lang/String;";

  /** By class, then by name and descriptor of the method. */
  private final Map<String, Map<String, Advice>> ofJdk = new HashMap<>();

  Delays() {
    Advice lookUp = Advice.delay(Hooks.LOOK_UP, Advice.THIS, 0);
    ofJdk.put("javax/naming/InitialContext",
        Map.of("lookup(" + TEXT + ")Ljava/lang/Object;", lookUp,
            "lookup(Ljavax/naming/Name;)Ljava/lang/Object;", lookUp));
    ofJdk.put("sun/net/www/protocol/http/HttpURLConnection",
        Map.of("getInputStream()Ljava/io/InputStream;", Advice.delay(Hooks.CALL, Advice.THIS, Advice.NONE)));
    ofJdk.put("jdk/internal/net/http/HttpClientImpl",
        Map.of(
            "send(Ljava/net/http/HttpRequest;Ljava/net/http/HttpResponse$BodyHandler;)Ljava/net/http/HttpResponse;",
            Advice.delay(Hooks.CALL_OF_CLIENT, Advice.THIS, 0)));
  }

  @Override
  public boolean mayHave(String className, byte[] classFile) {
    return ofJdk.containsKey(className) || !isOfJdk(className) && speaksOfApi(classFile);
  }

  private static boolean isOfJdk(String className) {
    for (String some : JDK) {
      if (className.startsWith(some))
        return true;
    }
    return false;
  }

  @Override
  public boolean mayHave(Class<?> loaded) {
    String name = loaded.getName().replace('.', '/');
    return ofJdk.containsKey(name) || !loaded.isInterface() && !isOfJdk(name) && isOfApi(loaded);
  }

  private static boolean isOfApi(Class<?> type) {
    for (Class<?> one = type; one != null; one = one.getSuperclass()) {
      for (Class<?> each : one.getInterfaces()) {
        if (TYPES.contains(each.getName()) || isOfApi(each))
          return true;
      }
    }
    return false;
  }

  @Override
  public Advice advice(String className, String[] interfaces, int access, String method, String descriptor) {
    if (isOfJdk(className))
      return ofJdk.getOrDefault(className, Map.of()).get(method + descriptor);
    if ((access & Opcodes.ACC_STATIC) != 0)
      return null;
    Advice advice = ofJdbc(method, descriptor);
    return advice == null ? ofJms(method, descriptor) : advice;
  }

  private static Advice ofJdbc(String method, String descriptor) {
    boolean withText = descriptor.startsWith("(" + TEXT);
    switch (method) {
      case "getConnection":
      case "connect":
        return descriptor.endsWith(")Ljava/sql/Connection;")
            ? Advice.delay(Hooks.CONNECTION, Advice.THIS, Advice.NONE)
            : null;
      case "prepareStatement":
      case "prepareCall":
        return withText ? Advice.delay(Hooks.PREPARE, Advice.THIS, 0) : null;
      case "execute":
      case "executeQuery":
      case "executeUpdate":
      case "executeLargeUpdate":
        return withText                   ? Advice.delay(Hooks.STATEMENT, Advice.THIS, 0)
            : descriptor.startsWith("()") ? Advice.delay(Hooks.STATEMENT, Advice.THIS, Advice.NONE)
                                          : null;
      case "executeBatch":
      case "executeLargeBatch":
        return Advice.delay(Hooks.STATEMENT, Advice.THIS, Advice.NONE);
      case "commit":
        return descriptor.equals("()V") ? Advice.delay(Hooks.COMMIT, Advice.THIS, Advice.NONE) : null;
      case "rollback":
        return descriptor.equals("()V") || descriptor.equals("(Ljava/sql/Savepoint;)V")
            ? Advice.delay(Hooks.ROLLBACK, Advice.THIS, Advice.NONE)
            : null;
      default:
        return null;
    }
  }

  private static Advice ofJms(String method, String descriptor) {
    switch (method) {
      case "send":
      case "publish":
        return descriptor.matches("\\(L(javax|jakarta)/jms/(Message|Destination|Queue|Topic);.*")
            ? Advice.delay(Hooks.SEND, Advice.THIS, 0)
            : null;
      case "receive":
      case "receiveNoWait":
        return descriptor.matches("\\(J?\\)L(javax|jakarta)/jms/Message;")
            ? Advice.delay(Hooks.RECEIVE, Advice.THIS, Advice.NONE)
            : null;
      case "getEnumeration":
        return descriptor.equals("()Ljava/util/Enumeration;")
            ? Advice.delay(Hooks.BROWSE, Advice.THIS, Advice.NONE)
            : null;
      default:
        return null;
    }
  }

  /** Whether a mark is among the constants; this is asked for each class that the host loads. */
  private static boolean speaksOfApi(byte[] classFile) {
    int count = Weaver.unsigned(classFile, 8);
    int at = 10;
    for (int i = 1; i < count; i++) {
      switch (classFile[at]) {
        case 1: // a text
          int length = Weaver.unsigned(classFile, at + 1);
          at += 3;
          if (isMark(classFile, at, at + length))
            return true;
          at += length;
          break;
        case 5: // a long or a double: it counts as two
        case 6:
          at += 9;
          i++;
          break;
        case 7:
        case 8:
        case 16:
        case 19:
        case 20:
          at += 3;
          break;
        case 15:
          at += 4;
          break;
        default:
          at += 5;
      }
    }
    return false;
  }

  private static boolean isMark(byte[] classFile, int from, int to) {
    for (byte[] mark : MARKS) {
      if (mark.length == to - from && Arrays.equals(mark, 0, mark.length, classFile, from, to))
        return true;
    }
    return false;
  }
}
