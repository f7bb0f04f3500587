#pragma once
// The numbers of the sample types, as the wire and the collectors know them.

enum _SampleType : int {
  SampleTypeNone = 0,
#define SAMPLE(value, name, sampleClass, english, source, interval) SampleType##name = value,
#define SAMPLE_WITHOUT_CLASS(value, name, english, source) SampleType##name = value,
#include "samples/sample_types.def"
};
