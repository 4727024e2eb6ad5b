#include "samples/qorix_items.h"

#include <cmath>

namespace qx {

namespace {

constexpr int32_t kRationalDenominator = 10000;

}  // namespace

QorixItemList& QorixItemList::Raw(QorixItem id, std::span<const uint8_t> value) {
  items_.emplace_back(uint16_t(id), Value(value.begin(), value.end()));
  return *this;
}

QorixItemList& QorixItemList::Text(QorixItem id, std::string_view text) {
  return Raw(id, QorixFields().Text(text).bytes());
}

QorixItemList& QorixItemList::U8(QorixItem id, std::initializer_list<uint8_t> values) {
  return Raw(id, {values.begin(), values.size()});
}

QorixItemList& QorixItemList::U16(QorixItem id, std::initializer_list<uint16_t> values) {
  QorixFields fields;
  for (const uint16_t value : values) fields.U16(value);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::U32(QorixItem id, std::initializer_list<uint32_t> values) {
  QorixFields fields;
  for (const uint32_t value : values) fields.U32(value);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::I32(QorixItem id, std::initializer_list<int32_t> values) {
  QorixFields fields;
  for (const int32_t value : values) fields.U32(uint32_t(value));
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::I64(QorixItem id, int64_t value) {
  return Raw(id, QorixFields().U64(uint64_t(value)).bytes());
}

QorixItemList& QorixItemList::F32(QorixItem id, std::initializer_list<float> values) {
  QorixFields fields;
  for (const float value : values) fields.F32(value);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::F64(QorixItem id, std::initializer_list<double> values) {
  QorixFields fields;
  for (const double value : values) fields.F64(value);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::Rationals(QorixItem id, std::span<const double> values) {
  QorixFields fields;
  for (const double value : values) fields.U32(uint32_t(int32_t(std::lround(value * kRationalDenominator)))).U32(kRationalDenominator);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::Gps(QorixItem id, const QorixGps& gps) {
  QorixFields fields;
  fields.F64(gps.latitude).F64(gps.longitude).F64(gps.altitude).U64(uint64_t(gps.timeMs)).F32(gps.accuracy);
  return Raw(id, fields.bytes());
}

QorixItemList& QorixItemList::Append(const QorixItemList& more) {
  items_.insert(items_.end(), more.items_.begin(), more.items_.end());
  return *this;
}

QorixItemList& QorixItemList::Remove(QorixItem id) {
  std::erase_if(items_, [id](const auto& item) { return item.first == uint16_t(id); });
  return *this;
}

std::vector<uint8_t> QorixItemList::Encoded() const {
  QorixFields fields;
  for (const auto& [id, value] : items_) fields.U16(id).U16(value.size()).Raw(value).PadTo(4);
  return fields.bytes();
}

QorixItemList QorixItemList::DeltaFrom(const QorixItemList& base) const {
  const std::map<uint16_t, Value> before = base.Latest(), now = Latest();
  QorixItemList delta;
  for (const auto& [id, value] : before) {
    if (!now.contains(id)) delta.Raw(QorixItem(id), {});
  }
  for (const auto& [id, value] : now) {
    const auto old = before.find(id);
    if (old == before.end() || old->second != value) delta.Raw(QorixItem(id), value);
  }
  return delta;
}

std::map<uint16_t, QorixItemList::Value> QorixItemList::Latest() const {
  std::map<uint16_t, Value> latest;
  for (const auto& [id, value] : items_) latest[id] = value;
  return latest;
}

}  // namespace qx
