// A sample from the body of its frame, and the body from a sample; beside protobuf with the same content in
// named fields. Both make a new object from bytes that are there, and a new string from an object.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "samples/sample_classes.h"
#include "transport/buffer.h"

#ifdef ZOV_BENCH_PROTOBUF
#include "samples.pb.h"
#endif

namespace {

/// Samples come in polls: each takes the place of one of the poll before.
constexpr int batch = 100;

/// As a busy server reports: counts of thousands, times of seconds.
long long valueOf(std::size_t place) {
  return static_cast<long long>((place + 1) * 7919 % 100'000);
}

std::string textOf(std::size_t place) {
  return "/shop/catalogue/item" + std::to_string(place);
}

template <class Sample>
Sample filledSample() {
  Sample sample;
  std::size_t place = 0;
  sample.saveNumericData(zov::key::sample_time, 1'600'000'000);
  sample.saveNumericData(zov::key::duration, 60);
  for (int key : sample.sampleClass().numericKeys) sample.saveNumericData(key, valueOf(place++));
  for (const zov::StringKey& string : sample.sampleClass().strings) {
    sample.saveStringData(string.key, textOf(place++));
  }
  return sample;
}

template <class Sample>
void FrameToSample(benchmark::State& state) {
  ZOVBuffer buffer;
  filledSample<Sample>().stream(buffer);
  std::vector<std::unique_ptr<ZOVTransportableData>> poll(batch);
  for (auto _ : state) {
    for (auto& sample : poll) {
      buffer.rewind();
      sample = ZOVTransportableData::buildFromBuffer(buffer);
    }
  }
  state.SetItemsProcessed(state.iterations() * batch);
  state.counters["bytes"] = static_cast<double>(buffer.length());
}

template <class Sample>
void SampleToFrame(benchmark::State& state) {
  const Sample sample = filledSample<Sample>();
  for (auto _ : state) {
    ZOVBuffer buffer;
    sample.stream(buffer);
    benchmark::DoNotOptimize(buffer);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(FrameToSample<ZOVWorkloadSumSample>);
BENCHMARK(SampleToFrame<ZOVWorkloadSumSample>);
BENCHMARK(FrameToSample<ZOVServletSample>);
BENCHMARK(SampleToFrame<ZOVServletSample>);

#ifdef ZOV_BENCH_PROTOBUF
template <class Message>
Message filledMessage() {
  Message message;
  std::size_t place = 0;
  const google::protobuf::Reflection& reflection = *message.GetReflection();
  for (int i = 0; i < message.descriptor()->field_count(); ++i) {
    const google::protobuf::FieldDescriptor* field = message.descriptor()->field(i);
    if (field->name() == "sample_time") {
      reflection.SetInt64(&message, field, 1'600'000'000);
    } else if (field->name() == "duration") {
      reflection.SetInt64(&message, field, 60);
    } else if (field->type() == google::protobuf::FieldDescriptor::TYPE_INT64) {
      reflection.SetInt64(&message, field, valueOf(place++));
    } else {
      reflection.SetString(&message, field, textOf(place++));
    }
  }
  return message;
}

template <class Message>
void BytesToProtobuf(benchmark::State& state) {
  const std::string bytes = filledMessage<Message>().SerializeAsString();
  std::vector<std::unique_ptr<Message>> poll(batch);
  for (auto _ : state) {
    for (auto& message : poll) {
      message = std::make_unique<Message>();
      message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
    }
  }
  state.SetItemsProcessed(state.iterations() * batch);
  state.counters["bytes"] = static_cast<double>(bytes.size());
}

template <class Message>
void ProtobufToBytes(benchmark::State& state) {
  const Message message = filledMessage<Message>();
  for (auto _ : state) {
    std::string bytes;
    message.SerializeToString(&bytes);
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BytesToProtobuf<zovbench::WorkloadSum>);
BENCHMARK(ProtobufToBytes<zovbench::WorkloadSum>);
BENCHMARK(BytesToProtobuf<zovbench::Servlet>);
BENCHMARK(ProtobufToBytes<zovbench::Servlet>);
#endif

}  // namespace
