#pragma once
// The numbers of the sample types, as the wire and the collectors know them.

enum _SampleType : int {
  SampleTypeNone = 0,
#define SAMPLE(type, name, sampleClass, english, source, counting) SampleType##name = type,
#define SAMPLE_WITHOUT_CLASS(type, name, english, source) SampleType##name = type,
#include "samples/sample_classes.def"
};
