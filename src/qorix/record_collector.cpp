#include "qorix/record_collector.h"

#include <utility>

namespace qx {

namespace {

constexpr size_t kFirstSlots = 1024;

// Chunks start at multiples of 8; the golden-ratio multiplier spreads regular distances.
size_t FirstSlot(uint64_t offset, size_t slotCount) {
  return size_t((offset >> 3) * 0x9E3779B97F4A7C15) & (slotCount - 1);
}

}  // namespace

int32_t OffsetTable::Find(uint64_t offset) const {
  if (slots_.empty() || offset == UINT64_MAX) return -1;
  for (size_t i = FirstSlot(offset, slots_.size());; i = (i + 1) & (slots_.size() - 1)) {
    if (slots_[i].offsetPlusOne == 0) return -1;
    if (slots_[i].offsetPlusOne == offset + 1) return slots_[i].number;
  }
}

void OffsetTable::Insert(uint64_t offset, int32_t number) {
  if (2 * used_ + 2 > slots_.size()) Grow();
  Place(offset, number);
  ++used_;
}

void OffsetTable::Place(uint64_t offset, int32_t number) {
  size_t i = FirstSlot(offset, slots_.size());
  while (slots_[i].offsetPlusOne != 0) i = (i + 1) & (slots_.size() - 1);
  slots_[i] = {offset + 1, number};
}

void OffsetTable::Grow() {
  std::vector<Slot> before(slots_.empty() ? kFirstSlots : 2 * slots_.size());
  before.swap(slots_);
  for (const Slot& slot : before) {
    if (slot.offsetPlusOne != 0) Place(slot.offsetPlusOne - 1, slot.number);
  }
}

void RecordCollector::Add(const ChunkRecord& record) {
  if (table_.Find(record.offset) >= 0 || records_.size() >= size_t(INT32_MAX)) return;
  table_.Insert(record.offset, int32_t(records_.size()));
  records_.push_back(record);
}

const ChunkRecord* RecordCollector::Find(uint64_t offset) const {
  const int32_t number = table_.Find(offset);
  return number < 0 ? nullptr : &records_[size_t(number)];
}

}  // namespace qx
