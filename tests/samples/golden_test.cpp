// What collectors, the statistics and the tables rely on, one checksum a sample class: a key that is missing,
// renumbered, moved or of another kind changes its class's. A change that is meant takes the new figure from
// the failure's message.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "samples/anchors.h"

namespace {

/// FNV-1a.
std::uint64_t checksum(const std::string& text) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return sum;
}

std::string describe(const zov::SampleClass& sampleClass) {
  std::string text;
  const auto add = [&](auto... numbers) { ((text += std::to_string(numbers) + ' '), ...); };
  add(sampleClass.type, static_cast<int>(sampleClass.interval));
  for (std::size_t i = 0; i < sampleClass.numericKeys.size(); ++i) {
    const auto& row = sampleClass.rows[i];
    add(sampleClass.numericKeys[i], static_cast<int>(row.kind), row.scaleFactor, row.relatedKey);
  }
  text += "texts ";
  for (const auto& string : sampleClass.strings) add(string.key);
  for (const auto* k = sampleClass.keywords; k != nullptr && k->keyword != nullptr; ++k) {
    text += k->keyword;
    add(k->key);
  }
  return text;
}

/// Of a resource whose every name and number differs.
unsigned int hashOfResource(ZOVSample& sample) {
  for (const int key : sample.sampleClass().numericKeys) sample.saveNumericData(key, key);
  for (const auto& string : sample.sampleClass().strings) {
    sample.saveStringData(string.key, std::to_string(string.key * 1'234'567));
  }
  const std::unique_ptr<ZOVResourceAnchor> anchor(sample.getResourceAnchor());
  return anchor ? anchor->hash() : 0;
}

TEST(SampleCatalogue, SaysWhatItSaid) {
  const std::map<std::string, std::uint64_t> golden = {
      {"AppServerCpuSample", 0x1f24607b75dfd723},
      {"ZOVAFDetailSample", 0x93ea704374677ee9},
      {"ZOVAppServerOverviewSample", 0x51d1d5afd78969d1},
      {"ZOVAppServerSample", 0xa921a3393b02ce1e},
      {"ZOVApplicationSample", 0xe36aef26c6e3fa45},
      {"ZOVBSImapSample", 0x363120932bf3eccb},
      {"ZOVBSMailSample", 0x8bda296cad678e4f},
      {"ZOVBSPopSample", 0xfb6b42dfdcb8363c},
      {"ZOVBSQueueManagerSample", 0xdfd8fa5c33a6aee8},
      {"ZOVCacheSample", 0x19d1b461df3b4cbf},
      {"ZOVCacheTemplateSample", 0x3d4fcbf4e27dd92a},
      {"ZOVContainerSample", 0x4cc70d8314afbc4b},
      {"ZOVDBConnectPoolSample", 0xad97a741ca34f72d},
      {"ZOVDataSourceDetSample", 0xd988179145aab494},
      {"ZOVEJBSample", 0xfe847c5b9ded255f},
      {"ZOVEndSample", 0xa5c515abd44a8ad1},
      {"ZOVGCDetailSample", 0x753c1d2890897ddc},
      {"ZOVGarbageCollectionSample", 0xcad3bd69c03a7f0b},
      {"ZOVHTTPSample", 0xefd937ea770e8172},
      {"ZOVJ2CPoolSample", 0xcee6fc7682c17133},
      {"ZOVMessageSample", 0x2dbf53d81bbf031},
      {"ZOVObjectPoolSample", 0xd4a938223ecaabcd},
      {"ZOVPSISample", 0x1c341d7312722fa9},
      {"ZOVServerRequestSummary", 0x5205b553ea17b3ed},
      {"ZOVServletSample", 0x437d9a8597090ab3},
      {"ZOVServletSessionsSample", 0x2ca3f71da372011c},
      {"ZOVStringAbbreviationSample", 0x79c74e58dff30032},
      {"ZOVTSLEnvVarsSample", 0xfe90cca3a261b48a},
      {"ZOVTSLJavaPropertySample", 0x9091d8f0f4a011e9},
      {"ZOVThreadPoolSample", 0x933596c50431348a},
      {"ZOVTransactionSample", 0xc6c8b13100c43e45},
      {"ZOVWLMClientSample", 0xbfa46bba992d2be7},
      {"ZOVWLMServerSample", 0xe278348ac5a48d3},
      {"ZOVWorkloadDetailSample", 0x7e7bf64a96007129},
      {"ZOVWorkloadSumSample", 0xc8b6c09d19102a8b},
      {"ZOVXQAccessSample", 0xd62480b130e7cdab},
  };
  std::map<std::string, std::uint64_t> present;
  std::string types, hashes;
  for (int number = 0; number < 1000; ++number) {
    const auto type = static_cast<ZOVSample::_SampleType>(number);
    types += ZOVSample::getSampleTypeInEnglish(type) + std::to_string(ZOVSample::getDataSource(type));
    const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(type));
    if (!sample) continue;
    present[sample->sampleClass().name] = checksum(describe(sample->sampleClass()));
    hashes += std::to_string(hashOfResource(*sample)) + ' ';
  }
  const zov::SampleClass& processor = AppServerCpuSample::sampleClassInfo;
  present[processor.name] = checksum(describe(processor));
  for (const auto& [name, sum] : present) {
    const auto was = golden.find(name);
    EXPECT_TRUE(was != golden.end() && was->second == sum) << name << " is now 0x" << std::hex << sum;
  }
  EXPECT_EQ(present.size(), golden.size());
  EXPECT_EQ(checksum(hashes), 0x490b46ebac3cf22dU) << "hashes of the resources, which order the tables";
  EXPECT_EQ(checksum(types), 0xba2331ae3446329fU) << "names and data sources of the types";
}

}  // namespace
