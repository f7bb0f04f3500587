package zov.collector;

/**
 * What a request waits for, with the number by which the agent knows it, and the pair of keys under which it
 * stands in the summary of requests, which has fewer of them. The agent's class of a delay comes
 * from the number: databases (1) are 3 to 6, messages (2) are 7 to 10, look-ups (3) are 11; all others are 0.
 */
enum DelayType {
  CONNECTION(3, Keys.DELAY_5_COUNT, Keys.DELAY_5_TIME),
  QUERY(4, Keys.DELAY_6_COUNT, Keys.DELAY_6_TIME),
  UPDATE(5, Keys.DELAY_6_COUNT, Keys.DELAY_6_TIME),
  /** A commit or a rollback. */
  TRANSACTION(6, Keys.DELAY_6_COUNT, Keys.DELAY_6_TIME),
  GET(7, Keys.DELAY_8_COUNT, Keys.DELAY_8_TIME),
  PUT(8, Keys.DELAY_7_COUNT, Keys.DELAY_7_TIME),
  BROWSE(9, Keys.DELAY_8_COUNT, Keys.DELAY_8_TIME),
  PUBLISH(10, Keys.DELAY_7_COUNT, Keys.DELAY_7_TIME),
  LOOK_UP(11, Keys.DELAY_15_COUNT, Keys.DELAY_15_TIME),
  /** A request to another server. */
  CALL(12, Keys.DELAY_9_COUNT, Keys.DELAY_9_TIME);

  final int number;
  final int countKey;
  final int timeKey;

  DelayType(int number, int countKey, int timeKey) {
    this.number = number;
    this.countKey = countKey;
    this.timeKey = timeKey;
  }

  boolean isOfDatabase() { return number >= CONNECTION.number && number <= TRANSACTION.number; }

  boolean isOfMessages() { return number >= GET.number && number <= PUBLISH.number; }
}
