package zov.collector;

import com.sun.management.GarbageCollectionNotificationInfo;
import com.sun.management.GarbageCollectorMXBean;
import com.sun.management.GcInfo;
import java.lang.management.ManagementFactory;
import java.lang.management.MemoryPoolMXBean;
import java.lang.management.MemoryType;
import java.lang.management.MemoryUsage;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Consumer;
import javax.management.JMException;
import javax.management.Notification;
import javax.management.NotificationEmitter;
import javax.management.NotificationListener;
import javax.management.openmbean.CompositeData;

/**
 * Hears of garbage collections from the JVM itself: its collectors announce each that has ended, if the JVM
 * has the module jdk.management.
 *
 * The announcements come on a thread of the JVM's: nothing is thrown into that, and nothing waits there.
 */
final class GcWatch implements GcLedger.Source {
  /** Where the announcements come from: the name that the agent asks for, since others have a file. */
  static final String PLACE = "java.lang:type=GarbageCollector,name=*";

  /** Causes, in the JVM's words, that mean that there was no room for a new object. */
  private static final Set<String> ALLOCATION_FAILURES =
      Set.of("Allocation Failure", "Allocation Stall", "G1 Evacuation Pause", "G1 Compaction Pause");

  private final Set<String> heapPools = new HashSet<>();
  private final List<NotificationEmitter> watched = new ArrayList<>();
  private final NotificationListener listener = this::ended;
  private volatile Consumer<GcCycle> receiver;

  GcWatch() {
    for (MemoryPoolMXBean pool : ManagementFactory.getMemoryPoolMXBeans()) {
      if (pool.getType() == MemoryType.HEAP)
        heapPools.add(pool.getName());
    }
  }

  @Override
  public boolean start(Consumer<GcCycle> to) {
    receiver = to;
    for (GarbageCollectorMXBean collector :
        ManagementFactory.getPlatformMXBeans(GarbageCollectorMXBean.class)) {
      ((NotificationEmitter) collector).addNotificationListener(listener, null, null);
      watched.add((NotificationEmitter) collector);
    }
    return !watched.isEmpty();
  }

  @Override
  public void stop() {
    for (NotificationEmitter collector : watched) {
      try {
        collector.removeNotificationListener(listener);
      } catch (JMException notListening) {
        // So there is nothing to take out.
      }
    }
    watched.clear();
  }

  private void ended(Notification notification, Object unused) {
    try {
      GarbageCollectionNotificationInfo told =
          GarbageCollectionNotificationInfo.from((CompositeData) notification.getUserData());
      if (isPart(told))
        return;
      GcInfo info = told.getGcInfo();
      receiver.accept(new GcCycle(ALLOCATION_FAILURES.contains(told.getGcCause()),
          notification.getTimeStamp() - info.getDuration(), info.getStartTime(), info.getDuration(),
          heap(info.getMemoryUsageBeforeGc()), heap(info.getMemoryUsageAfterGc())));
    } catch (Throwable failure) {
      // The host comes first.
    }
  }

  /** A collection beside the application is announced when it ends, and each of its pauses before. */
  private static boolean isPart(GarbageCollectionNotificationInfo told) {
    return told.getGcName().endsWith("Pauses") || told.getGcAction().endsWith("pause");
  }

  private GcCycle.Heap heap(Map<String, MemoryUsage> pools) {
    long used = 0;
    long size = 0;
    for (String name : heapPools) {
      MemoryUsage pool = pools.get(name);
      used += pool.getUsed();
      size += pool.getCommitted();
    }
    return new GcCycle.Heap(used, size);
  }
}
