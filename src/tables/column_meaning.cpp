// What columns mean: of a key, what the key means, in the form and at the decimals that the arithmetic of
// samples gives it.

#include "tables/table.h"

namespace zov {

namespace {

/// What the first of the table's sample classes that has the key says of it; nothing when none has it.
const KeyRow* keyRow(const TableInfo& table, int key) {
  for (const ZOVSample::_SampleType type : table.sampleTypes) {
    const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(type));
    if (sample == nullptr) continue;
    const SampleClass& known = sample->sampleClass();
    if (const int place = known.placement[key]; place != 0) {
      return &known.rows[static_cast<std::size_t>(place - 1)];
    }
  }
  return nullptr;
}

ColumnMeaning valueMeaning(const KeyInfo& key, const KeyRow& row, NullValue null) {
  const bool isAverage = row.kind == KeyKindStatInfo || row.kind == KeyKindPerfLoad;
  return {key.unit, isAverage ? static_cast<int>(row.scaleFactor) : 0, null, key.meaning};
}

/// A rate and a percentage are multiplied by 10 to the power of the key's scale before they are divided.
ColumnMeaning rateMeaning(const KeyInfo& key, const KeyRow& row) {
  return {key.unit, static_cast<int>(row.scaleFactor), NullValue::MinusOne, key.meaning,
          ColumnForm::PerSecond};
}

ColumnMeaning percentMeaning(const KeyInfo& key, const KeyRow& row) {
  const KeyInfo& related = keyInfo(static_cast<int>(row.relatedKey));
  const int scale = static_cast<int>(row.scaleFactor);
  ColumnMeaning meaning{key.unit, scale, NullValue::MinusOne, key.meaning, ColumnForm::Mean};
  if (related.unit == key.unit) {
    meaning.unit = Unit::Percent;  // a hundredth is two digits
    meaning.decimals = scale - 2;
    meaning.form = ColumnForm::Share;
  } else if (related.unit == Unit::Milliseconds) {
    meaning.decimals = scale - 3;
    meaning.form = ColumnForm::PerSecond;
  }
  return meaning;
}

bool fits(ColumnSource source, _KeyKind kind) {
  switch (source) {
    case ColumnSource::Rate:
      return kind == KeyKindCounter || kind == KeyKindCounterFromZero;
    case ColumnSource::Percent:
      return kind == KeyKindPercent;
    default:
      return true;
  }
}

ColumnMeaning keyMeaning(const TableInfo& table, const Column& column) {
  const KeyInfo& key = keyInfo(column.key);
  if (column.source == ColumnSource::String || column.source == ColumnSource::ShortName) {
    return {Unit::None, 0, NullValue::Blank, key.meaning};
  }
  if (column.key == key::sample_time || column.key == key::duration) {
    return {key.unit, 0, NullValue::Never, key.meaning};
  }
  const KeyRow* row = keyRow(table, column.key);
  if (row == nullptr || !fits(column.source, row->kind)) {
    return {Unit::None, 0, NullValue::Never, key.meaning, ColumnForm::Zero};
  }
  switch (column.source) {
    case ColumnSource::Rate:
      return rateMeaning(key, *row);
    case ColumnSource::Percent:
      return percentMeaning(key, *row);
    case ColumnSource::JavaTime:
    case ColumnSource::Digits:
      return valueMeaning(key, *row, NullValue::Blank);
    default:
      return valueMeaning(key, *row, NullValue::MinusOne);
  }
}

}  // namespace

ColumnMeaning columnMeaning(const TableInfo& table, const Column& column) {
  switch (column.source) {
    case ColumnSource::Own:
      return column.own;
    case ColumnSource::OriginNode:
      return {Unit::None, 0, NullValue::Never, "Subnode of the server."};
    case ColumnSource::ServerName:
      return {Unit::None, 0, NullValue::Never, "Name of the server."};
    case ColumnSource::NodeName:
      return {Unit::None, 0, NullValue::Never, "Short name of the host."};
    case ColumnSource::SampleTime:
      return {Unit::Time, 0, NullValue::Never, "When the sample was taken, CYYMMDDHHMMSSmmm."};
    case ColumnSource::Duration:
      return {Unit::Seconds, 0, NullValue::Never, "How long the sample covers."};
    case ColumnSource::CapturePercent:
      return {Unit::Percent, 0, NullValue::Never, "How many of the requests are captured."};
    case ColumnSource::StatisticsCollected:
      return {Unit::None, 0, NullValue::Never,
              "1 when the server's own statistics are collected, 0 when not."};
    case ColumnSource::RowNumber:
      return {Unit::None, 0, NullValue::Never, "Number of the row in the answer, from 1."};
    default:
      return keyMeaning(table, column);
  }
}

}  // namespace zov
