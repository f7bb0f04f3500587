package zov.collector;

import java.util.HashMap;
import java.util.Map;
import javax.management.Attribute;
import javax.management.AttributeList;
import javax.management.DynamicMBean;
import javax.management.MBeanInfo;

/** An MBean with the attributes that it is given. */
final class Bean implements DynamicMBean {
  private final Map<String, Object> attributes;
  private Runnable whenRead = () -> {};

  Bean(Map<String, Object> attributes) { this.attributes = new HashMap<>(attributes); }

  /** A servlet with these counters. */
  static Bean servlet(Number count, long total, long longest) {
    return new Bean(Map.of()).counters(count, total, longest);
  }

  synchronized Bean counters(Number count, long total, long longest) {
    attributes.put("requestCount", count);
    attributes.put("processingTime", total);
    attributes.put("maxTime", longest);
    return this;
  }

  synchronized Bean whenRead(Runnable action) {
    whenRead = action;
    return this;
  }

  @Override
  public synchronized Object getAttribute(String name) {
    return attributes.get(name);
  }

  @Override
  public synchronized AttributeList getAttributes(String[] names) {
    whenRead.run();
    AttributeList list = new AttributeList();
    for (String name : names) {
      if (attributes.containsKey(name))
        list.add(new Attribute(name, attributes.get(name)));
    }
    return list;
  }

  @Override
  public MBeanInfo getMBeanInfo() {
    return new MBeanInfo(Bean.class.getName(), null, null, null, null, null);
  }

  @Override
  public void setAttribute(Attribute attribute) {}

  @Override
  public AttributeList setAttributes(AttributeList list) {
    return list;
  }

  @Override
  public Object invoke(String action, Object[] arguments, String[] signature) {
    return null;
  }
}
