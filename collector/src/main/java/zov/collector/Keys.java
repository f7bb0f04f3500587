package zov.collector;

/** The numbers by which agent and collector know the messages and their fields. */
final class Keys {
  private Keys() {}

  /** Types of request. */
  static final int PING = 1;
  static final int POLL = 2;
  static final int RESPONSE = 5;
  static final int COLLECT_WORKLOAD = 8;
  static final int COLLECT_GC_DATA = 15;

  /** Types of sample. */
  static final int WORKLOAD_SUMMARY = 31;
  static final int JVM_PROPERTY = 41;
  static final int ENVIRONMENT_VARIABLE = 55;
  static final int STRING_ABBREVIATION = 59;
  static final int END_OF_SAMPLES = 998;

  /** Every request, and the end of the samples that answer one. */
  static final int CORRELATOR = 13;

  static final int STATUS = 14;
  static final int STATUS_REFUSED = 1;
  static final int STATUS_ACCEPTED = 2;
  static final int VALUE = 15;
  static final int MESSAGE = 28;

  /** Process id in a ping, and identifier of the collector in a sample. */
  static final int PROCESS_ID = 4;
  static final int SERVER_NAME = 5;
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

  static final int SAMPLE_TIME = 20;
  static final int INTERVAL_SECONDS = 21;
  static final int INTERVAL_MILLIS = 314;
  static final int REQUEST_TYPE = 700;
  static final int APPLICATION_NAME = 701;
  static final int REQUEST_NAME = 702;
  static final int REQUEST_COUNT = 703;
  static final int REQUEST_TOTAL_MILLIS = 704;
  static final int REQUEST_LONGEST_MILLIS = 705;

  static final int SERVER_ID = 833;
  static final int PROPERTY_NAME = 870;
  static final int PROPERTY_VALUE = 871;

  static final int FULL_STRING = 1020;
  static final int ABBREVIATION = 1021;
}
