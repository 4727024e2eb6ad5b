#include "samples/wav_writer.h"

#include <string_view>

namespace qx {

namespace {

using ByteVector = std::vector<uint8_t>;

constexpr uint64_t kLargest32 = 0xFFFFFFFF;

void Put(uint64_t value, int bytes, ByteVector* out) {
  for (int i = 0; i < bytes; ++i) out->push_back(uint8_t(value >> (8 * i)));
}

void PutText(std::string_view text, ByteVector* out) {
  for (const char c : text) out->push_back(uint8_t(c));
}

void PutChunk(std::string_view tag, const ByteVector& contents, ByteVector* out) {
  PutText(tag, out);
  Put(contents.size(), 4, out);
  out->insert(out->end(), contents.begin(), contents.end());
  if (contents.size() % 2 != 0) out->push_back(0);
}

ByteVector Format(const WavOptions& options) {
  const uint32_t tag = IsFloat(options.encoding) ? 3 : 1, bytes = BytesPerSample(options.encoding);
  const uint32_t block = bytes * options.channels;
  ByteVector format;
  Put(options.extensible ? 0xFFFE : tag, 2, &format);
  Put(options.channels, 2, &format);
  Put(options.rate, 4, &format);
  Put(uint64_t(options.rate) * block, 4, &format);
  Put(block, 2, &format);
  Put(8 * bytes, 2, &format);
  if (!options.extensible) return format;
  Put(22, 2, &format);         // bytes that follow
  Put(8 * bytes, 2, &format);  // valid bits
  Put(0, 4, &format);          // no loudspeakers named
  Put(tag, 2, &format);        // the sub-format's GUID: the tag, then KSDATAFORMAT's fixed part
  PutText(std::string_view("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14), &format);
  return format;
}

/// EBU Tech 3285: texts of 338 bytes, the time reference, version and reserved fields.
ByteVector BroadcastExtension(uint64_t timeReference) {
  ByteVector extension(338);
  Put(timeReference, 8, &extension);
  extension.resize(602);
  return extension;
}

}  // namespace

std::vector<uint8_t> WriteWav(const WavOptions& options, std::span<const uint8_t> samples) {
  const uint64_t dataBytes = samples.size() + options.claimedMore;
  ByteVector chunks;
  if (options.timeReference) PutChunk("bext", BroadcastExtension(*options.timeReference), &chunks);
  if (options.oddChunk) PutChunk("LIST", {'I', 'N', 'F', 'O', '!'}, &chunks);
  PutChunk("fmt ", Format(options), &chunks);

  ByteVector file;
  const uint64_t ds64Bytes = options.rf64 ? 36 : 0;
  const uint64_t riffBytes = 4 + ds64Bytes + chunks.size() + 8 + dataBytes + dataBytes % 2;
  PutText(options.rf64 ? "RF64" : "RIFF", &file);
  Put(options.rf64 ? kLargest32 : riffBytes, 4, &file);
  PutText("WAVE", &file);
  if (options.rf64) {
    ByteVector sizes;
    Put(riffBytes, 8, &sizes);
    Put(dataBytes, 8, &sizes);
    Put(dataBytes / (BytesPerSample(options.encoding) * options.channels), 8, &sizes);
    Put(0, 4, &sizes);  // no further sizes
    PutChunk("ds64", sizes, &file);
  }
  file.insert(file.end(), chunks.begin(), chunks.end());
  PutText("data", &file);
  Put(options.rf64 ? kLargest32 : dataBytes, 4, &file);
  file.insert(file.end(), samples.begin(), samples.end());
  if (options.claimedMore == 0 && samples.size() % 2 != 0) file.push_back(0);
  return file;
}

}  // namespace qx
