package zov.collector;

/** The fields of requests and responses, and what some of them hold. */
final class RequestKeys {
  private RequestKeys() {}

  static final int STATUS = 14;
  static final int STATUS_REFUSED = 1;
  static final int STATUS_ACCEPTED = 2;
  static final int VALUE = 15;
  static final int MESSAGE = 28;

  static final int BUILD_LEVEL = 24;
  static final int WORKLOAD_BUILD_LEVEL = 25;
  static final int WORKING_DIRECTORY = 31;
  static final int SERVER_ROOT = 38;
  static final int PLATFORM = 39;
  static final int LOCALE = 41;

  static final int POLL_MASK = 1;
  static final int COLLECT_LEVEL = 659;
  static final int CAPTURE_PERCENT = 679;
  static final int GC_ACTION = 1050;
}
