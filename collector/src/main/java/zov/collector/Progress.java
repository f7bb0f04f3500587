package zov.collector;

import java.io.IOException;

/** Called between the steps of slow work. An IOException means that the session is over. */
interface Progress {
  void step() throws IOException;
}
