package zov.collector;

import java.lang.ref.ReferenceQueue;
import java.lang.ref.WeakReference;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentMap;

/**
 * What is known of objects of the host's, by their identity, and none of them held: what goes from the host
 * goes from here. None of their methods is called. Of more than so many nothing is known. Any thread.
 */
final class WeakIdentityMap<V> {
  private static final int MOST = 50_000;

  private static final class Key extends WeakReference<Object> {
    private final int hash;

    Key(Object object, ReferenceQueue<Object> gone) {
      super(object, gone);
      hash = System.identityHashCode(object);
    }

    @Override
    public int hashCode() {
      return hash;
    }

    @Override
    public boolean equals(Object other) {
      if (this == other)
        return true;
      Object mine = get();
      return mine != null && other instanceof Key && ((Key) other).get() == mine;
    }
  }

  /** What is looked up: it equals the key of its object. */
  private static final class Probe {
    private final Object object;

    Probe(Object object) { this.object = object; }

    @Override
    public int hashCode() {
      return System.identityHashCode(object);
    }

    @Override
    public boolean equals(Object key) {
      return key instanceof Key && ((Key) key).get() == object;
    }
  }

  private final ConcurrentMap<Object, V> values = new ConcurrentHashMap<>();
  private final ReferenceQueue<Object> gone = new ReferenceQueue<>();
  private final int most;

  WeakIdentityMap() { this(MOST); }

  WeakIdentityMap(int most) { this.most = most; }

  /** Null when nothing is known. */
  V get(Object object) { return values.get(new Probe(object)); }

  void put(Object object, V value) {
    for (Object key = gone.poll(); key != null; key = gone.poll()) values.remove(key);
    if (values.size() < most)
      values.put(new Key(object, gone), value);
  }

  /** What was known; null when that is nothing. */
  V remove(Object object) { return values.remove(new Probe(object)); }
}
