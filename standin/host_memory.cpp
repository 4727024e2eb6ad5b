#include "standin/host_memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "standin/guarded.h"

namespace standin {

namespace {

using qx::host::Handle;

struct HandleBlock {
  explicit HandleBlock(size_t size) : block(size), master(reinterpret_cast<char*>(block.data())) {}
  GuardedBlock block;
  char* master;
};

struct Memory {
  std::mutex lock;
  std::map<Handle, std::unique_ptr<HandleBlock>> handles;
  std::map<char*, std::unique_ptr<GuardedBlock>> blocks;
  std::function<void(Handle)> atNextHandle;
};

Memory& TheMemory() {
  static Memory* const memory = new Memory;
  return *memory;
}

std::atomic<int> failuresLeft{0};

Handle NewHandle(uint32_t size) {
  if (failuresLeft > 0 && failuresLeft-- > 0) return nullptr;
  auto made = std::make_unique<HandleBlock>(size);
  std::memset(made->block.data(), 0xCD, size);  // contents are not cleared
  const Handle handle = &made->master;
  std::function<void(Handle)> action;
  {
    const std::lock_guard<std::mutex> guard(TheMemory().lock);
    TheMemory().handles[handle] = std::move(made);
    action = std::exchange(TheMemory().atNextHandle, nullptr);
  }
  if (action) action(handle);
  return handle;
}

Handle NewHandleClear(uint32_t size) {
  const Handle handle = NewHandle(size);
  if (handle != nullptr) std::memset(*handle, 0, size);
  return handle;
}

void DisposeHandle(Handle handle) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  const auto found = TheMemory().handles.find(handle);
  if (found == TheMemory().handles.end()) {
    ReportViolation("disposeHandle: %p is no live handle", static_cast<void*>(handle));
    return;
  }
  found->second->block.Check("memory handle");
  TheMemory().handles.erase(found);
}

int32_t GetHandleSize(Handle handle) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  const auto found = TheMemory().handles.find(handle);
  return found == TheMemory().handles.end() ? 0 : int32_t(found->second->block.size());
}

int16_t SetHandleSize(Handle handle, uint32_t newSize) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  const auto found = TheMemory().handles.find(handle);
  if (found == TheMemory().handles.end()) return -1;
  HandleBlock& old = *found->second;
  GuardedBlock grown(newSize);
  std::memcpy(grown.data(), old.block.data(), std::min<size_t>(newSize, old.block.size()));
  old.block = std::move(grown);
  old.master = reinterpret_cast<char*>(old.block.data());
  return 0;
}

char* NewPtr(uint32_t size) {
  auto block = std::make_unique<GuardedBlock>(size);
  char* const data = reinterpret_cast<char*>(block->data());
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  TheMemory().blocks[data] = std::move(block);
  return data;
}

char* NewPtrClear(uint32_t size) {
  char* const data = NewPtr(size);
  std::memset(data, 0, size);
  return data;
}

int32_t GetPtrSize(char* data) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  const auto found = TheMemory().blocks.find(data);
  return found == TheMemory().blocks.end() ? 0 : int32_t(found->second->size());
}

void DisposePtr(char* data) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  const auto found = TheMemory().blocks.find(data);
  if (found == TheMemory().blocks.end()) {
    ReportViolation("disposePtr: %p is no live block", static_cast<void*>(data));
    return;
  }
  found->second->Check("memory block");
  TheMemory().blocks.erase(found);
}

void SetPtrSize(char** data, uint32_t newSize) {
  char* const grown = NewPtr(newSize);
  std::memcpy(grown, *data, std::min<size_t>(newSize, size_t(GetPtrSize(*data))));
  DisposePtr(*data);
  *data = grown;
}

void IgnoreLock(Handle) {}

}  // namespace

const qx::host::MemFuncs* MemoryFunctions() {
  static constexpr qx::host::MemFuncs kFunctions = {NewPtr,        SetPtrSize,    GetPtrSize,  DisposePtr,     NewHandle,  SetHandleSize,
                                                    GetHandleSize, DisposeHandle, NewPtrClear, NewHandleClear, IgnoreLock, IgnoreLock};
  return &kFunctions;
}

size_t LiveHandles() {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  return TheMemory().handles.size() + TheMemory().blocks.size();
}

void FailHandleAllocations(int count) {
  failuresLeft = count;
}

void AtNextHandle(std::function<void(Handle)> action) {
  const std::lock_guard<std::mutex> guard(TheMemory().lock);
  TheMemory().atNextHandle = std::move(action);
}

}  // namespace standin
