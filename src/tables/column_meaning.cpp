// What columns mean: of a key, what the key means, in the form and at the decimals that the arithmetic of
// samples gives it.

#include <algorithm>

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

std::string readableName(const Column& column, const ColumnMeaning& meaning) {
  std::string name(column.key == NoKey || !meaning.readable.empty() ? meaning.readable
                                                                    : keyInfo(column.key).name);
  if (column.source == ColumnSource::ShortName) return name + "_short";
  switch (meaning.form) {
    case ColumnForm::PerSecond:
      return name + "_per_second";
    case ColumnForm::Mean:
      return name + "_mean";
    case ColumnForm::Share:
      return name + "_percent";
    default:
      return name;
  }
}

std::string_view wordsOf(ColumnForm form) {
  switch (form) {
    case ColumnForm::PerSecond:
      return " Per second.";
    case ColumnForm::Mean:
      return " Shown: the mean.";
    case ColumnForm::Share:
      return " Shown: the share.";
    case ColumnForm::Zero:
      return " The samples have no such value: always 0.";
    default:
      return "";
  }
}

std::string_view wordsOf(ColumnSource source) {
  switch (source) {
    case ColumnSource::JavaTime:
      return " As CYYMMDDHHMMSSmmm.";
    case ColumnSource::Digits:
      return " As decimal digits.";
    case ColumnSource::ShortName:
      return " When it is longer than the column: its start, and six digits that stand for it while the "
             "agent runs.";
    default:
      return "";
  }
}

ColumnDescription::None noneOf(NullValue null) {
  switch (null) {
    case NullValue::MinusOne:
      return ColumnDescription::None::MinusOne;
    case NullValue::Blank:
      return ColumnDescription::None::Empty;
    default:
      return ColumnDescription::None::Never;
  }
}

}  // namespace

ColumnMeaning columnMeaning(const TableInfo& table, const Column& column) {
  switch (column.source) {
    case ColumnSource::Own:
      return column.own;
    case ColumnSource::OriginNode:
      return {Unit::None, 0, NullValue::Never, "Subnode of the server.", ColumnForm::Plain, "node"};
    case ColumnSource::ServerName:
      return {Unit::None, 0, NullValue::Never, "Name of the server.", ColumnForm::Plain, "server"};
    case ColumnSource::NodeName:
      return {Unit::None, 0, NullValue::Never, "Short name of the host.", ColumnForm::Plain, "host"};
    case ColumnSource::SampleTime:
      return {Unit::Time,        0,
              NullValue::Never,  "When the sample was taken, CYYMMDDHHMMSSmmm.",
              ColumnForm::Plain, "sample_time"};
    case ColumnSource::Duration:
      return {Unit::Seconds,     0,         NullValue::Never, "How long the sample covers.",
              ColumnForm::Plain, "duration"};
    case ColumnSource::CapturePercent:
      return {Unit::Percent,     0,
              NullValue::Never,  "How many of the requests are captured.",
              ColumnForm::Plain, "request_capture_percent"};
    case ColumnSource::StatisticsCollected:
      return {Unit::None,        0,
              NullValue::Never,  "1 when the server's own statistics are collected, 0 when not.",
              ColumnForm::Plain, "statistics_collected"};
    case ColumnSource::RowNumber:
      return {Unit::None,        0,           NullValue::Never, "Number of the row in the answer, from 1.",
              ColumnForm::Plain, "row_number"};
    default:
      return keyMeaning(table, column);
  }
}

std::vector<ColumnDescription> describeColumns(const TableInfo& table) {
  std::vector<ColumnDescription> columns;
  for (const Column& column : table.columns) {
    const ColumnMeaning meaning = columnMeaning(table, column);
    ColumnDescription described{readableName(column, meaning)};
    const auto taken = [&](const std::string& name) {
      return std::ranges::find(columns, name, &ColumnDescription::readable) != columns.end();
    };
    const std::string name = described.readable;
    for (int again = 2; taken(described.readable); ++again) {
      described.readable = name + "_" + std::to_string(again);
    }
    described.unit = nameOf(meaning.unit);
    described.meaning =
        std::string(meaning.text).append(wordsOf(meaning.form)).append(wordsOf(column.source));
    described.decimals = meaning.decimals;
    described.none = noneOf(meaning.null);
    described.isDigits = column.source == ColumnSource::Digits;
    columns.push_back(std::move(described));
  }
  return columns;
}

}  // namespace zov
