#pragma once
// ZOVSample: one measurement of one resource at one moment, and the arithmetic of rates, percentages,
// averages and merging. The classes are in sample_classes.h; each is a list of keys (sample_classes.def), a
// few string fields and an anchor.
//
// Numeric values are signed 64 bits, and -1 is null everywhere. Times and durations are whole seconds. A
// cumulative sample reports running totals, and its rates come from the difference to the sample before it;
// an interval sample reports the counts of its own duration and is its own difference.
//
// The duration between two cumulative samples is steady time where the agent took both. Where a peer told
// their times (key 20) it is the difference of those; times that do not go forward come from a clock that was
// set, and then what the later sample told of its duration (key 21) stands, and without that there is no
// rate.
//
// Samples have no lock. One thread fills a new sample; a kept one belongs to its anchor and is reached under
// the server's lock. The one thing that happens under a shared hold of it is the rating of an interval sample
// by a reader: it is done once, and a second reader waits for the few instructions that it takes.
//
// Nothing here reports an error: an unknown key, keyword or type and an empty value are skipped. All integer
// arithmetic wraps, divisions are guarded, and a double goes to the nearest integer there is.

#include <atomic>
#include <cstdint>

#include "foundation/collections.h"
#include "platform/clock.h"
#include "samples/key_table.h"
#include "transport/transportable_data.h"

class ZOVResourceAnchor;

/// One key's place in a sample. Which of the fields that share a place is meant follows from the key's kind.
struct _NumericValue {
  std::uint32_t isSet = 0;      ///< 1 once a value has been stored; 0 is null
  std::uint32_t rateValid = 0;  ///< 1 when delta, rate or average may be read
  union {
    std::int64_t value = 0;  ///< numeric, maximum, minimum
    std::int64_t total;      ///< counters and percent: the running count
    std::int64_t average;    ///< statistics: scaled average per observation
  };
  union {
    std::int64_t delta = 0;  ///< counters and percent: total less the previous total
    double statTotal;        ///< statistics
  };
  union {
    std::int64_t rate = 0;  ///< counters and percent: scaled
    double statNumSamples;  ///< statistics: number of observations in statTotal
  };
};
static_assert(sizeof(_NumericValue) == 32);

/// How a sample is saved or read: normally, or for history.
enum _SaveSampleType { SaveSampleInterval = 0, SaveSampleHistorical = 1 };

class ZOVSample : public ZOVTransportableData {
 public:
  using _SampleType = ::_SampleType;
  using enum ::_SampleType;
  enum _DataSource : int {
    DataSourceResource = 0,
    DataSourceProfiler = 1,
    DataSourceWorkload = 2,
    DataSourceEvent = 3,
    DataSourceVerboseGC = 6,
    DataSourceNone = 7,
  };
  /// Of the key `summary`: 0 a detail line, else a summary over the resource. SummaryAny is a filter's
  /// wildcard.
  enum _SummarySample : int { SummaryAny = -1, SummaryDetail = 0, SummaryTotal = 1 };

  /// Keys that every sample has, ahead of those of its class: sample_time and duration.
  static constexpr int NumSampleIntKeys = 2;
  static constexpr long long NullValue = -1;

  ZOVSample(const ZOVSample& other);
  ~ZOVSample() override;

  // --- Factories. The caller owns the result; null when the type has no class.
  static ZOVSample* buildFromType(_SampleType type);
  /// Reads the subtype; the fields are read by saveData.
  static ZOVSample* buildFromBuffer(ZOVBuffer& buffer);
  static ZOVSample* buildFromSampleString(_SampleType type, const char* text);
  static const char* getSampleTypeInEnglish(_SampleType type);  ///< "Unknown" when it has no name
  static _DataSource getDataSource(_SampleType type);
  static _DataSource getDataSource(int type) { return getDataSource(static_cast<_SampleType>(type)); }

  // --- What the sample is.
  const zov::SampleClass& sampleClass() const { return _class; }
  _SampleType getSampleType() const { return _class.type; }
  _DataSource getDataSource() const { return getDataSource(getSampleType()); }
  bool isIntervalSample() const { return _class.interval; }
  const int* getKeyPlacementArray() const { return _class.placement; }
  const zov::Keyword* getRPXKeywordTable() const { return _class.keywords; }
  virtual const RWCString& getResourceName() const;  ///< empty in most classes
  /// A new anchor that describes the sample's resource, owned by the caller; null for a class without.
  virtual ZOVResourceAnchor* getResourceAnchor() { return nullptr; }
  ZOVSample* clone() const override = 0;
  /// What it takes of memory, with its values and texts.
  std::size_t memoryBytes() const;

  // --- Values.
  void saveNumericData(int key, long long value) override;  ///< -1 clears the key
  /// What happened since the last sample: a counter's difference, an average, or the plain value. 0 when the
  /// class has no such key, else -1 when there is no value.
  long long getNumericData(int key) const override;
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;  ///< empty when the class has no such key
  virtual void saveStatInfoData(int key, double total, double numSamples);
  long long getTotalCount(int key) const;  ///< a counter's running count, or the plain value
  long long getRate(int key) const;        ///< of the counter kinds: scaled, per second
  long long getPercent(int key) const;     ///< of the percent kind: scaled
  double getTotalForStatinfo(int key) const;
  long long getTotalNumSamplesForStatinfo(int key) const;
  std::uint32_t getSampleTime() const { return sampleTime; }
  std::uint32_t getDuration() const { return duration; }
  /// Fills the 16 bytes at `out` with the time in the framework's form, and *durationOut with the seconds.
  void copySampleTimeAndDuration(char* out, long* durationOut) const;

  // --- Text: lines of keyword=value, where the value of a statistic is total/observations.
  /// Sets the time to now and reads the text.
  void buildFromSampleString(const char* text);
  void buildFromDataString(const char* text) override;

  // --- Rates. Against the sample before it (may be null); does nothing for a sample that is rated.
  virtual void calculateRates(const ZOVSample* previous);
  bool isRated() const { return ratesCalculated.load(std::memory_order_acquire) == Rated; }
  /// Back to unrated, so that a copy can be rated against another predecessor.
  void resetRates();

  // --- Merging.
  virtual void sumNumericData(int key, long long value);
  virtual void sumStatInfoData(int key, double total, double numSamples);
  /// One key of mergeSampleData; `entry` is this sample's place for it.
  virtual void mergeNumericData(const ZOVSample* other, int key, _NumericValue* entry);
  /// Takes a further part of the same collection: counts sum, the first text stands.
  virtual void mergeSampleData(const ZOVSample* other);
  /// Takes the next interval: as above, with the newer time and the sum of the durations.
  void mergeIntoHistoricalSample(const ZOVSample* other);
  virtual bool shouldCreateSummarySamples() const { return false; }
  /// Adds this sample to the summaries of `anchors`, which the caller owns and destroys.
  virtual void createSummarizedSamples(RWCollection& anchors);

  // --- Travelling.
  int getDataType() const override { return 2; }
  int getNumNumericKeys() const override {
    return NumSampleIntKeys + static_cast<int>(_class.numericKeys.size());
  }
  int getNumStringKeys() const override { return static_cast<int>(_class.strings.size()); }
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void streamID(ZOVBuffer& buffer) const override;
  void streamData(ZOVBuffer& buffer) const override;
  void saveData(ZOVBuffer& buffer) override;
  long long getNumericValueForStream(
      unsigned int key) const override;  ///< running counts; statistics travel as 0
  using ZOVTransportableData::valueIsNull;
  bool valueIsNull(long long value) const override { return value == NullValue; }

  /// 10 to the power of `digits`, 0 to 6.
  static long long getScaleFactorMultiplier(unsigned int digits);
  /// The text as a fixed-point integer with `decimals` digits behind the point; further ones are cut off.
  static long long convertStringValueToInt(std::string_view text, unsigned int decimals);
  static double convertStringValueToDouble(std::string_view text);
  /// "total/observations".
  static void convertPerfLoadValue(std::string_view text, double& total, double& numSamples);

 protected:
  explicit ZOVSample(const zov::SampleClass& sampleClass);
  ZOVSample& operator=(const ZOVSample& other);  ///< between samples of one class only

  /// This class's place for the key, or null.
  _NumericValue* getNumericValueEntry(int key) const {
    const int place = placeOf(key);
    return place < 0 ? nullptr : &numericValues[place];
  }
  /// saveNumericData of a class that folds nothing.
  void storeNumericData(int key, long long value);
  virtual std::size_t objectBytes() const { return sizeof(ZOVSample); }
  /// The rating itself, called once by calculateRates.
  virtual void rate(const ZOVSample* previous);

  std::uint32_t sampleTime;
  std::uint32_t duration = 0;

 private:
  /// Of a cumulative sample: since the one before it, or 0 when nobody can tell.
  std::uint32_t secondsSince(const ZOVSample& previous) const;
  void takeTime();  ///< the sample is taken now, by the agent

  enum : std::uint32_t { Unrated = 0, Rated = 1, BeingRated = 2 };

  int placeOf(int key) const { return zov::isKey(key) ? _class.placement[key] - 1 : -1; }
  _KeyKind kindAt(int place) const { return _class.rows[static_cast<std::size_t>(place)].kind; }
  std::size_t valueBytes() const { return _class.numericKeys.size() * sizeof(_NumericValue); }
  void streamValues(ZOVBuffer& buffer) const;
  void saveKeywordValue(std::string_view keyword, std::string_view value);
  ZOVClock::Steady _takenAt{};   // by the agent; of cumulative samples only
  bool _timeTold = false;        // by a peer
  _NumericValue* numericValues;  // owned; one per key of the class
  std::atomic<std::uint32_t> ratesCalculated{Unrated};
  std::uint32_t eyeCatcher = 0x504d4153;  // "SAMP" in a memory dump
  const zov::SampleClass& _class;
};

/// The keeper of the samples of one server. saveSample takes the sample over, and destroys one that has no
/// anchor.
class ZOVSampleKeeper {
 public:
  virtual ~ZOVSampleKeeper() = default;
  virtual void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) = 0;
};

/// Hands a copy of each anchor's last sample, unrated, to the keeper.
void saveSummarizedSamples(ZOVSampleKeeper& keeper, RWIterator& anchors, unsigned int collectionId);
