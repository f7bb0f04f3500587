package zov.collector;

import java.io.IOException;

/** Takes the samples of one poll. An IOException means that the session is over. */
interface SampleSink {
  void send(Message sample) throws IOException;

  /** To be called between slow steps: shows a waiting agent now and then that the collector lives. */
  void progress() throws IOException;
}
