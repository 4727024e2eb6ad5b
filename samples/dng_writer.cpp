#include "samples/dng_writer.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qx {

namespace {

constexpr uint32_t kPreviewWidth = 16, kPreviewHeight = 12;
constexpr uint8_t kPreviewGrey = 118;

TiffOrder OrderOf(const DngDescription& description) {
  return description.bigEndian ? TiffOrder::kBig : TiffOrder::kLittle;
}

std::vector<uint8_t> Preview() {
  return std::vector<uint8_t>(kPreviewWidth * kPreviewHeight * 3, kPreviewGrey);
}

/// The image bytes of the file: preview and strips behind each other, and where each begins.
struct ImageData {
  std::vector<uint8_t> bytes;
  std::vector<uint32_t> offsets, counts;  // of the strips or tiles, relative to `bytes`
};

ImageData JoinStreams(const DngDescription& description, std::span<const std::vector<uint8_t>> streams) {
  ImageData data;
  if (description.preview) data.bytes = Preview();
  for (const std::vector<uint8_t>& stream : streams) {
    data.offsets.push_back(uint32_t(data.bytes.size()));
    data.counts.push_back(uint32_t(stream.size()));
    data.bytes.insert(data.bytes.end(), stream.begin(), stream.end());
  }
  return data;
}

void AddLayout(const DngDescription& d, const ImageData& data, uint32_t imageOffset, TiffIfd* ifd) {
  std::vector<uint32_t> offsets = data.offsets;
  for (uint32_t& offset : offsets) offset += imageOffset;
  if (d.tileWidth != 0) {
    ifd->Long(322, d.tileWidth);
    ifd->Long(323, d.tileLength);
    ifd->Long(324, offsets);
    ifd->Long(325, data.counts);
  } else {
    ifd->Long(273, offsets);
    ifd->Long(278, d.rowsPerStrip != 0 ? d.rowsPerStrip : d.height);
    ifd->Long(279, data.counts);
  }
}

void AddLevels(const DngDescription& d, TiffIfd* ifd) {
  if (!d.black.empty()) {
    ifd->Short(50713, std::array{d.blackRows, d.blackCols});
    ifd->Rational(50714, d.black);
  }
  if (d.white) ifd->Long(50717, *d.white);
  if (!d.linearization.empty()) ifd->Short(50712, d.linearization);
}

void AddAreas(const DngDescription& d, TiffIfd* ifd) {
  if (d.activeArea) ifd->Long(50829, *d.activeArea);
  if (d.crop) {
    ifd->Rational(50719, std::span(*d.crop).first(2));
    ifd->Rational(50720, std::span(*d.crop).last(2));
  }
}

void AddRawTags(const DngDescription& d, const ImageData& data, uint32_t imageOffset, TiffIfd* ifd) {
  ifd->Long(254, 0u);
  ifd->Long(256, d.width);
  ifd->Long(257, d.height);
  ifd->Short(258, uint16_t(d.bitsPerSample));
  ifd->Short(259, uint16_t(d.compression));
  ifd->Short(262, uint16_t(d.photometric));
  ifd->Short(277, uint16_t(1));
  ifd->Short(284, uint16_t(1));
  AddLayout(d, data, imageOffset, ifd);
  ifd->Short(33421, std::array<uint16_t, 2>{2, 2});
  ifd->Byte(33422, d.cfa);
  AddLevels(d, ifd);
  AddAreas(d, ifd);
  if (!d.opcodeList1.empty()) ifd->Undefined(51008, d.opcodeList1.Bytes());
  if (!d.opcodeList2.empty()) ifd->Undefined(51009, d.opcodeList2.Bytes());
  if (!d.opcodeList3.empty()) ifd->Undefined(51022, d.opcodeList3.Bytes());
}

void AddPreviewTags(uint32_t imageOffset, TiffIfd* ifd) {
  ifd->Long(254, 1u);
  ifd->Long(256, kPreviewWidth);
  ifd->Long(257, kPreviewHeight);
  ifd->Short(258, std::array<uint16_t, 3>{8, 8, 8});
  ifd->Short(259, uint16_t(1));
  ifd->Short(262, uint16_t(2));
  ifd->Long(273, imageOffset);
  ifd->Short(277, uint16_t(3));
  ifd->Long(278, kPreviewHeight);
  ifd->Long(279, kPreviewWidth * kPreviewHeight * 3);
}

void AddNames(const DngDescription& d, TiffIfd* ifd) {
  const std::pair<uint16_t, const std::string&> names[] = {
      {271, d.make}, {272, d.model}, {305, d.software}, {50708, d.uniqueCameraModel}, {51081, d.reelName}};
  for (const auto& [tag, name] : names) {
    if (!name.empty()) ifd->Ascii(tag, name);
  }
}

void AddColor(const DngDescription& d, TiffIfd* ifd) {
  const std::pair<uint16_t, const std::optional<Matrix9>&> matrices[] = {{50721, d.colorMatrix1},       {50722, d.colorMatrix2},
                                                                         {50723, d.cameraCalibration1}, {50724, d.cameraCalibration2},
                                                                         {50964, d.forwardMatrix1},     {50965, d.forwardMatrix2}};
  for (const auto& [tag, matrix] : matrices) {
    if (matrix) ifd->SRational(tag, *matrix);
  }
  if (d.analogBalance) ifd->Rational(50727, *d.analogBalance);
  if (d.asShotNeutral) ifd->Rational(50728, *d.asShotNeutral);
  if (d.asShotWhiteXY) ifd->Rational(50729, *d.asShotWhiteXY);
  if (d.baselineExposure) ifd->SRational(50730, std::array{*d.baselineExposure});
  if (d.illuminant1 != 0) ifd->Short(50778, d.illuminant1);
  if (d.illuminant2 != 0) ifd->Short(50779, d.illuminant2);
}

void AddTime(const DngDescription& d, TiffIfd* ifd) {
  if (d.timeCodes) ifd->Byte(51043, *d.timeCodes);
  if (d.frameRate) ifd->Fractions(51044, 10, std::array{std::pair<int64_t, int64_t>(*d.frameRate)});
  if (!d.privateTimecode) return;
  const std::string text = std::string("qorixcam") + '\0' + "TimecodeSource:" + std::to_string(d.privateTimecode->source) +
                           "\nTimecodeStart:" + std::to_string(d.privateTimecode->start) + "\n";
  ifd->Byte(50740, std::vector<uint8_t>(text.begin(), text.end()));
}

TiffIfd ExifIfd(const DngExif& exif, TiffOrder order) {
  TiffIfd ifd(order);
  ifd.Rational(33434, std::array{exif.exposureTime});
  ifd.Rational(33437, std::array{exif.fNumber});
  ifd.Short(34855, exif.iso);
  ifd.Rational(37386, std::array{exif.focalLength});
  if (!exif.lensModel.empty()) ifd.Ascii(42036, exif.lensModel);
  return ifd;
}

/// Whole degrees, whole minutes, and seconds to a millionth.
std::array<double, 3> DegreesMinutesSeconds(double degrees) {
  const double whole = std::floor(degrees), minutes = std::floor((degrees - whole) * 60);
  return {whole, minutes, (degrees - whole) * 3600 - minutes * 60};
}

TiffIfd GpsIfd(const DngGps& gps, TiffOrder order) {
  TiffIfd ifd(order);
  ifd.Ascii(1, gps.latitude < 0 ? "S" : "N");
  ifd.Rational(2, DegreesMinutesSeconds(std::abs(gps.latitude)));
  ifd.Ascii(3, gps.longitude < 0 ? "W" : "E");
  ifd.Rational(4, DegreesMinutesSeconds(std::abs(gps.longitude)));
  ifd.Byte(5, std::array<uint8_t, 1>{uint8_t(gps.altitude < 0)});
  ifd.Rational(6, std::array{std::abs(gps.altitude)});
  return ifd;
}

void AddMainTags(const DngDescription& d, TiffIfd* ifd) {
  ifd->Short(274, d.orientation);
  ifd->Byte(50706, std::array<uint8_t, 4>{1, 4, 0, 0});
  AddNames(d, ifd);
  AddColor(d, ifd);
  AddTime(d, ifd);
  if (d.exif) ifd->AddChild(34665, ExifIfd(*d.exif, ifd->order()));
  if (d.gps) ifd->AddChild(34853, GpsIfd(*d.gps, ifd->order()));
}

/// IFD0 with everything below it, for image data that begins at `imageOffset`.
TiffIfd MainIfd(const DngDescription& d, const ImageData& data, uint32_t imageOffset) {
  TiffIfd main(OrderOf(d));
  AddMainTags(d, &main);
  if (!d.preview) {
    AddRawTags(d, data, imageOffset, &main);
    if (d.edit) d.edit(main, main);
    return main;
  }
  AddPreviewTags(imageOffset, &main);
  TiffIfd raw(OrderOf(d));
  AddRawTags(d, data, imageOffset, &raw);
  if (d.edit) d.edit(main, raw);
  main.AddChild(330, std::move(raw));
  return main;
}

std::vector<uint16_t> CutBlock(const DngDescription& d, std::span<const uint16_t> samples, const DngBlock& block) {
  std::vector<uint16_t> cut(size_t(block.width) * block.height);
  const uint32_t columns = std::min(block.width, d.width - block.x), rows = std::min(block.height, d.height - block.y);
  for (uint32_t y = 0; y < rows; ++y) {
    std::copy_n(samples.begin() + (size_t(block.y) + y) * d.width + block.x, columns, cut.begin() + size_t(y) * block.width);
  }
  return cut;
}

}  // namespace

void DngOpcodeList::Add(uint32_t id, uint32_t flags, std::span<const uint8_t> parameters) {
  constexpr uint32_t kDngVersion13 = 0x01030000;
  for (const uint32_t word : {id, kDngVersion13, flags, uint32_t(parameters.size())}) AppendTiff32(&opcodes_, TiffOrder::kBig, word);
  opcodes_.insert(opcodes_.end(), parameters.begin(), parameters.end());
  ++count_;
}

void DngOpcodeList::Add(const DngGainMap& m) {
  std::vector<uint8_t> parameters;
  for (const uint32_t word : {m.top, m.left, m.bottom, m.right, m.plane, m.planes, m.rowPitch, m.colPitch, m.pointsV, m.pointsH}) {
    AppendTiff32(&parameters, TiffOrder::kBig, word);
  }
  for (const double number : {m.spacingV, m.spacingH, m.originV, m.originH}) AppendTiffF64(&parameters, TiffOrder::kBig, number);
  AppendTiff32(&parameters, TiffOrder::kBig, m.mapPlanes);
  for (const float gain : m.gains) AppendTiff32(&parameters, TiffOrder::kBig, std::bit_cast<uint32_t>(gain));
  Add(9, 1, parameters);
}

void DngOpcodeList::Add(const DngWarp& warp, uint32_t flags) {
  std::vector<uint8_t> parameters;
  AppendTiff32(&parameters, TiffOrder::kBig, uint32_t(warp.planes.size()));
  for (const auto& plane : warp.planes) {
    for (const double coefficient : plane) AppendTiffF64(&parameters, TiffOrder::kBig, coefficient);
  }
  AppendTiffF64(&parameters, TiffOrder::kBig, warp.centreX);
  AppendTiffF64(&parameters, TiffOrder::kBig, warp.centreY);
  Add(1, flags, parameters);
}

std::vector<uint8_t> DngOpcodeList::Bytes() const {
  std::vector<uint8_t> bytes;
  AppendTiff32(&bytes, TiffOrder::kBig, count_);
  bytes.insert(bytes.end(), opcodes_.begin(), opcodes_.end());
  return bytes;
}

std::vector<DngBlock> DngBlocks(const DngDescription& d) {
  std::vector<DngBlock> blocks;
  if (d.tileWidth != 0) {
    for (uint32_t y = 0; y < d.height; y += d.tileLength) {
      for (uint32_t x = 0; x < d.width; x += d.tileWidth) blocks.push_back({x, y, d.tileWidth, d.tileLength});
    }
    return blocks;
  }
  const uint32_t rows = d.rowsPerStrip != 0 ? d.rowsPerStrip : d.height;
  for (uint32_t y = 0; y < d.height; y += rows) blocks.push_back({0, y, d.width, std::min(rows, d.height - y)});
  return blocks;
}

std::vector<uint8_t> PackSamples(std::span<const uint16_t> samples, uint32_t width, uint32_t bits, bool bigEndian) {
  std::vector<uint8_t> packed;
  packed.reserve(samples.size() * bits / 8 + samples.size() / width + 1);
  for (size_t start = 0; start < samples.size(); start += width) {
    const auto row = samples.subspan(start, width);
    if (bits == 16) {
      for (const uint16_t sample : row) AppendTiff16(&packed, bigEndian ? TiffOrder::kBig : TiffOrder::kLittle, sample);
      continue;
    }
    uint64_t pending = 0;
    uint32_t pendingBits = 0;
    for (const uint16_t sample : row) {
      pending = pending << bits | (sample & ((1u << bits) - 1));
      for (pendingBits += bits; pendingBits >= 8; pendingBits -= 8) packed.push_back(uint8_t(pending >> (pendingBits - 8)));
    }
    if (pendingBits > 0) packed.push_back(uint8_t(pending << (8 - pendingBits)));
  }
  return packed;
}

std::vector<uint8_t> WriteDng(const DngDescription& description, std::span<const uint16_t> samples) {
  std::vector<std::vector<uint8_t>> streams;
  for (const DngBlock& block : DngBlocks(description)) {
    const std::vector<uint16_t> cut = CutBlock(description, samples, block);
    streams.push_back(PackSamples(cut, block.width, description.bitsPerSample, description.bigEndian));
  }
  return WriteDngStreams(description, streams);
}

std::vector<uint8_t> WriteDngStreams(const DngDescription& description, std::span<const std::vector<uint8_t>> streams) {
  constexpr uint32_t kHeaderBytes = 8;
  const ImageData data = JoinStreams(description, streams);
  const auto write = [&](uint32_t imageOffset, std::span<const uint8_t> imageFirst) {
    const TiffIfd main = MainIfd(description, data, imageOffset);
    return WriteTiff(std::span(&main, 1), imageFirst);
  };
  if (!description.imageDataLast) return write(kHeaderBytes, data.bytes);
  // The size of the tags does not depend on where the image lies: measure first.
  std::vector<uint8_t> file = write(uint32_t(write(0, {}).size()), {});
  file.insert(file.end(), data.bytes.begin(), data.bytes.end());
  return file;
}

}  // namespace qx
