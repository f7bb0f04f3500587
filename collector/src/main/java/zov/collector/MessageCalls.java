package zov.collector;

import java.lang.reflect.Method;
import java.util.Arrays;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import zov.boot.Hooks;

/**
 * Reads calls of JMS, of its older and its newer API: by reflection, since not all hosts have them, with one
 * object of this class for each class of theirs, kept by that class itself and gone with it.
 *
 * A connection goes by the provider's packages, as far as three names; a destination that lasts no longer
 * than its connection has no name. Called on the host's threads, many at once.
 */
final class MessageCalls {
  /** Kinds of destinations. */
  static final int QUEUE = 1;
  static final int TOPIC = 2;

  private static final String TEMPORARY = "temporary";
  private static final String NOTHING = "nothing";
  private static final Pattern PROVIDER = Pattern.compile("(?:[^.]+\\.){0,2}[^.]+(?=\\.)");

  private static final ClassValue<MessageCalls> byClass = new ClassValue<>() {
    @Override
    protected MessageCalls computeValue(Class<?> type) {
      for (String api : new String[] {"jakarta.jms.", "javax.jms."}) {
        if (Arrays.stream(PARTS).anyMatch(part -> Exchanges.find(type, api + part[0]) != null))
          return new MessageCalls(type, api);
      }
      return new MessageCalls(type, "");
    }
  };

  /** Types of the API, the method that leads from each on to a name, and what it is for. */
  private static final String[][] PARTS = {{"TemporaryQueue", ""}, {"TemporaryTopic", ""},
      {"Topic", "getTopicName"}, {"Queue", "getQueueName"}, {"Message", "getJMSDestination"},
      {"QueueBrowser", "getQueue"}, {"MessageProducer", ""}, {"JMSProducer", ""}, {"MessageConsumer", ""},
      {"JMSConsumer", ""}};

  private final String part;
  private final Method next;
  private final String provider;

  private MessageCalls(Class<?> type, String api) {
    Matcher packages = PROVIDER.matcher(type.getName());
    provider = packages.lookingAt() ? packages.group() : TallyLedger.OTHER;
    String found = "";
    Method method = null;
    for (String[] each : PARTS) {
      Class<?> of = found.isEmpty() && !api.isEmpty() ? Exchanges.find(type, api + each[0]) : null;
      if (of == null)
        continue;
      found = each[0];
      method = each[1].isEmpty() ? null : method(of, each[1]);
    }
    part = found;
    next = method;
  }

  private static Method method(Class<?> of, String name) {
    try {
      return of.getMethod(name);
    } catch (NoSuchMethodException otherApi) {
      throw new IllegalArgumentException("No messages of " + of, otherApi);
    }
  }

  static boolean isRead(int kind, Object target) {
    String part = byClass.get(target.getClass()).part;
    return kind == Hooks.SEND   ? part.endsWith("Producer")
        : kind == Hooks.RECEIVE ? part.endsWith("Consumer")
                                : part.equals("QueueBrowser");
  }

  static HostCall read(int kind, Object target, Object argument, Object result) {
    Object place = kind == Hooks.SEND ? argument : kind == Hooks.RECEIVE ? result : target;
    MessageCalls of = place == null ? null : byClass.get(place.getClass());
    while (of != null && of.next != null && !of.isDestination()) {
      place = Exchanges.call(of.next, place);
      of = place == null ? null : byClass.get(place.getClass());
    }
    if (of == null || !of.isDestination())
      return new HostCall(typeOf(kind, false), byClass.get(target.getClass()).provider, NOTHING, null);
    boolean topic = of.part.endsWith("Topic");
    Object name = of.next == null ? TEMPORARY : Exchanges.call(of.next, place);
    TallyLedger.Kind queue = new TallyLedger.Kind(
        topic ? TOPIC : QUEUE, of.provider, NamePatterns.shortened(String.valueOf(name)));
    return new HostCall(typeOf(kind, topic), of.provider, queue.names.get(1), queue);
  }

  private boolean isDestination() { return part.endsWith("Topic") || part.endsWith("Queue"); }

  private static DelayType typeOf(int kind, boolean topic) {
    return kind == Hooks.BROWSE ? DelayType.BROWSE
        : kind == Hooks.RECEIVE ? DelayType.GET
        : topic                 ? DelayType.PUBLISH
                                : DelayType.PUT;
  }
}
