package zov.collector;

/**
 * What a request waits for, with the number by which the agent knows it. The agent's class of a delay comes
 * from the number: databases (1) are 3 to 6, messages (2) are 7 to 10, look-ups (3) are 11; all others are 0.
 */
enum DelayType {
  CONNECTION(3),
  QUERY(4),
  UPDATE(5),
  /** A commit or a rollback. */
  TRANSACTION(6),
  GET(7),
  PUT(8),
  BROWSE(9),
  PUBLISH(10),
  LOOK_UP(11),
  /** A request to another server. */
  CALL(12);

  final int number;

  DelayType(int number) { this.number = number; }

  boolean isOfDatabase() { return number >= CONNECTION.number && number <= TRANSACTION.number; }

  boolean isOfMessages() { return number >= GET.number && number <= PUBLISH.number; }
}
