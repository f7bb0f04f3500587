package zov.collector;

import java.io.IOException;

/** Takes the samples of one poll. An IOException means that the session is over. */
interface SampleSink {
  void send(Message sample) throws IOException;

  /**
   * To be called before each step: shows a waiting agent now and then that the collector lives, and throws
   * {@link Budget.SpentException} when the poll must end.
   */
  void progress() throws IOException;
}
