package zov.collector;

import java.util.ArrayList;
import java.util.List;

/** The samples of a poll, kept. */
final class Samples implements SampleSink {
  private final List<Message> all = new ArrayList<>();

  @Override
  public void send(Message sample) {
    all.add(sample);
  }

  @Override
  public void progress() {}

  /** Those since the last call, in hexadecimal. */
  List<String> take() {
    List<String> taken = new ArrayList<>();
    for (Message sample : takeMessages()) taken.add(Hex.of(sample.toFrame()).substring(8));
    return taken;
  }

  List<Message> takeMessages() {
    List<Message> taken = new ArrayList<>(all);
    all.clear();
    return taken;
  }
}
