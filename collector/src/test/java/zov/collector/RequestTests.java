package zov.collector;

import java.io.Closeable;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.LongSupplier;
import javax.management.ListenerNotFoundException;
import javax.management.MBeanServer;
import javax.management.MBeanServerFactory;
import javax.management.MalformedObjectNameException;
import javax.management.Notification;
import javax.management.NotificationBroadcasterSupport;
import javax.management.NotificationFilter;
import javax.management.NotificationListener;
import javax.management.ObjectName;

/** The figures of requests, from counters of MBeans to samples. */
final class RequestTests {
  private static final int PID = 4711;
  private static final long UNKNOWN = Interval.UNKNOWN;

  private RequestTests() {}

  static void run() {
    Check.test("an interval tells what is known of it", () -> {
      int top = Integer.MAX_VALUE;
      ServletCounters[][] pairs = {
          // before and after; count, total and longest below
          {counters(10, 0, 100, 40), counters(13, 0, 130, 40)},
          {counters(13, 0, 130, 40), counters(14, 0, 200, 70)},
          {counters(14, 0, 200, 70), counters(15, 0, 230, 70)},
          {counters(14, 0, 200, 70), counters(16, 0, 200, 70)},
          {counters(5, 0, 50, 9), counters(8, 2, 60, 10)},
          {counters(8, 2, 60, 10), counters(8, 0, 90, 15)},
          {counters(8, 0, 60, 10), counters(9, 1, 60, 10)},
          {counters(8, 0, 60, 10), counters(9, 2, 60, 10)},
          {counters(14, 0, 200, 70), counters(2, 0, 9, 8)},
          {counters(10, UNKNOWN, 100, 40), counters(13, 0, 130, 50)},
          {counters(top - 1, 0, 900, 9), counters(-top, 0, 990, 9)},
          {counters(-3, 0, 900, 9), counters(5, 0, 990, 9)},
          {counters(top, 0, 900, 9), counters(3, 0, 12, 5)},
          {ServletCounters.ZERO, counters(-1, 0, 990, 9)},
          {wide(4_000_000_000L), wide(4_000_000_005L)},
      };
      long[][] intervals = {{3, 30, UNKNOWN}, {1, 70, 70}, {1, 30, 30}, {2, 0, UNKNOWN}, {1, 10, 10},
          {2, 30, 15}, {0, 0, UNKNOWN}, {0, 0, UNKNOWN}, {2, 9, 8}, {3, UNKNOWN, 50}, {3, 90, UNKNOWN},
          {8, 90, UNKNOWN}, {3, 12, 5}, {4_294_967_295L, 990, 9}, {5, 0, UNKNOWN}};
      for (int i = 0; i < pairs.length; i++) {
        Interval got = pairs[i][1].since(pairs[i][0]);
        Check.equal(i + ": " + List.of(intervals[i][0], intervals[i][1], intervals[i][2]),
            i + ": " + List.of(got.count, got.totalMillis, got.longestMillis));
      }
    });

    Check.test("a sample has what ended since the last, with nothing of what is unknown", () -> {
      try (Host host = new Host()) {
        host.deploy(Bean.servlet(10, 100, 40));
        host.sampler.sample(host.samples);
        Check.equal(List.of(), host.samples.take());
        host.sampler.start();
        host.after(5499).counters(13, 130, 40);
        Check.equal(List.of(sample(5, 5499, 3, UNKNOWN, UNKNOWN)), host.poll(0));
        host.sampler.stop();
        host.open(1);
        host.bean.counters(14, 130, 40);
        host.sampler.start();
        Check.equal(List.of(), host.poll(200));
        host.open(0);
        host.after(1000).counters(14, 160, 40);
        Check.equal(List.of(sample(1, 1000, 1, 30, 30)), host.poll(0));
        host.sampler.stop();
        host.after(1000).counters(50, 500, 50);
        host.sampler.start();
        host.after(1000).counters(51, 510, 50);
        Check.equal(List.of(sample(1, 1000, 1, 10, 10)), host.poll(0));
      }
    });

    Check.test("a reload loses nothing and counts nothing twice", () -> {
      try (Host host = new Host()) {
        host.open(0);
        host.deploy(Bean.servlet(10, 100, 40));
        host.sampler.start();
        host.after(1000).counters(12, 190, 60);
        host.reload(Bean.servlet(1, 5, 5));
        host.bean.counters(3, 11, 6);
        host.reload(Bean.servlet(4, 20, 20));
        Check.equal(List.of(sample(1, 1000, 9, 121, 60)), host.poll(0));
        Check.equal(List.of(), host.poll(1000));
        host.bean.counters(5, 21, 20);
        host.undeploy();
        Check.equal(List.of(sample(1, 1000, 1, 1, 1)), host.poll(1000));
        Check.equal(List.of(), host.poll(1000));
        // Without an announcement, the counters themselves show it.
        host.deploy(Bean.servlet(7, 70, 30));
        Check.equal(List.of(sample(1, 1000, 7, 70, 30)), host.poll(1000));
        host.bean.counters(2, 9, 8);
        Check.equal(List.of(sample(1, 1000, 2, 9, 8)), host.poll(1000));
        // What was put in while the agent looked away is counted from its first request on.
        host.undeploy();
        host.deploy(Bean.servlet(2, 9, 8));
        host.reload(Bean.servlet(1, 3, 3));
        Check.equal(List.of(sample(1, 1000, 3, 12, 8)), host.poll(1000));
      }
    });

    Check.test("a new session tells what happened between the sessions", () -> {
      try (Host host = new Host()) {
        host.open(0);
        host.deploy(Bean.servlet(10, 100, 40));
        host.sampler.start();
        host.after(3000).counters(11, 150, 50);
        host.newSession();
        host.sampler.start();
        Check.equal(List.of(sample(3, 3000, 1, 50, 50)), host.poll(0));
        host.newSession();
        host.sampler.sample(host.samples);
        Check.equal(false, host.ledger.isRunning());
      }
    });

    Check.test("nothing of the collector's stays in a host that it has left", () -> {
      try (Host host = new Host()) {
        int[] asked = {0};
        host.open(0);
        host.deploy(Bean.servlet(10, 100, 40));
        host.sampler.start();
        Check.equal(1, host.wrapper.listeners);
        host.sampler.stop();
        Check.equal(0, host.wrapper.listeners);
        host.bean.whenRead(() -> asked[0]++);
        host.wrapper.announce("j2ee.state.stopped");
        host.undeploy();
        Check.equal(0, asked[0]);
      }
    });
  }

  private static ServletCounters counters(int begun, long running, long total, long longest) {
    return new ServletCounters(begun, true, running, total, longest);
  }

  private static ServletCounters wide(long begun) { return new ServletCounters(begun, false, 0, 7, 7); }

  private static String sample(int seconds, int millis, long count, long total, long longest) {
    return Hex.sample(31, Hex.number(20, 1_700_000_000), Hex.number(21, seconds), Hex.number(314, millis),
        Hex.number(700, 1), Hex.number(703, count), total < 0 ? "" : Hex.number(704, total),
        longest < 0 ? "" : Hex.number(705, longest), Hex.number(4, PID), Hex.text(701, "shop"),
        Hex.text(702, "order"));
  }

  /** The server's objects of an application and its one servlet, as far as they are asked. */
  public static final class Wrapper extends NotificationBroadcasterSupport {
    private int running;
    private int listeners;

    public Wrapper findChild(String name) { return name.equals("order") ? this : null; }

    public int getCountAllocated() { return running; }

    @Override
    public void addNotificationListener(
        NotificationListener one, NotificationFilter filter, Object handback) {
      super.addNotificationListener(one, filter, handback);
      listeners++;
    }

    @Override
    public void removeNotificationListener(NotificationListener one) throws ListenerNotFoundException {
      super.removeNotificationListener(one);
      listeners--;
    }

    void announce(String type) { sendNotification(new Notification(type, this, 1)); }
  }

  static RequestCounting untraced(LongSupplier nanoTime) {
    return new RequestCounting(new Tracing(null, CollectorLog.none()), nanoTime);
  }

  /** A host with one application, in steps of a clock. */
  private static final class Host implements Closeable {
    final MBeanServer server = MBeanServerFactory.createMBeanServer("Test");
    final ObjectName page = name("Test:j2eeType=Servlet,WebModule=//localhost/shop,name=order");
    final ObjectName module = name("Test:j2eeType=WebModule,name=//localhost/shop");
    final Wrapper wrapper = new Wrapper();
    final AtomicLong nanos = new AtomicLong(5);
    final RequestCounting counting = untraced(nanos::get);
    final RequestLedger ledger = counting.told;
    final Samples samples = new Samples();
    RequestSampler sampler;
    Bean bean;

    Host() { newSession(); }

    void newSession() { sampler = new RequestSampler(PID, counting, () -> 1_700_000_000_999L); }

    void deploy(Bean servlet) throws Exception {
      bean = servlet;
      server.registerMBean(servlet, page);
    }

    void undeploy() throws Exception {
      wrapper.announce("j2ee.state.stopping");
      wrapper.announce("j2ee.state.stopped");
      server.unregisterMBean(page);
    }

    void reload(Bean servlet) throws Exception {
      undeploy();
      deploy(servlet);
    }

    /** The application lets its objects be asked. */
    void open(int running) throws Exception {
      wrapper.running = running;
      if (!server.isRegistered(module))
        server.registerMBean(new Bean(Map.of("managedResource", wrapper)), module);
    }

    Bean after(int millis) {
      nanos.addAndGet(millis * 1_000_000L);
      return bean;
    }

    List<String> poll(int millis) throws Exception {
      after(millis);
      sampler.start();
      sampler.sample(samples);
      return samples.take();
    }

    @Override
    public void close() {
      sampler.stop();
      MBeanServerFactory.releaseMBeanServer(server);
    }

    private static ObjectName name(String text) {
      try {
        return new ObjectName(text);
      } catch (MalformedObjectNameException impossible) {
        throw new AssertionError(impossible);
      }
    }
  }
}
