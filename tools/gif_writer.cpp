#include "tools/gif_writer.h"

#include <gif_lib.h>

#include <QBuffer>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

namespace vm {

namespace {

constexpr int kMaxColours = 256;

struct Indexed {
  std::vector<QRgb> palette;  // opaque colours; the transparent entry, if any, comes last
  int transparent = -1;
  std::vector<std::uint8_t> pixels;
};

bool IsTransparent(QRgb p) { return qAlpha(p) < 128; }

int Distance(QRgb a, QRgb b) {
  const int dr = qRed(a) - qRed(b), dg = qGreen(a) - qGreen(b), db = qBlue(a) - qBlue(b);
  return 2 * dr * dr + 4 * dg * dg + 3 * db * db;  // weighted: the eye sees green differences most
}

struct Weighted {
  QRgb colour;
  std::int64_t count;
};

int Channel(QRgb c, int channel) { return channel == 0 ? qRed(c) : channel == 1 ? qGreen(c) : qBlue(c); }

// Median cut: splits the colours into `wanted` boxes, always the box with the widest channel,
// at its weighted median; each box gives its weighted mean. Ties go to the earlier box.
std::vector<QRgb> MedianCut(std::vector<Weighted> colours, size_t wanted) {
  struct Box {
    size_t begin, end;
  };
  auto widest = [&](const Box& b, int* channelOut) {
    int best = -1;
    for (int ch = 0; ch < 3; ++ch) {
      int lo = 255, hi = 0;
      for (size_t i = b.begin; i < b.end; ++i) {
        lo = std::min(lo, Channel(colours[i].colour, ch));
        hi = std::max(hi, Channel(colours[i].colour, ch));
      }
      if (hi - lo > best) {
        best = hi - lo;
        *channelOut = ch;
      }
    }
    return best;
  };
  std::vector<Box> boxes{{0, colours.size()}};
  while (boxes.size() < wanted) {
    int pick = -1, pickRange = 0, pickChannel = 0;
    for (size_t i = 0; i < boxes.size(); ++i) {
      int channel = 0;
      const int range = widest(boxes[i], &channel);
      if (boxes[i].end - boxes[i].begin > 1 && range > pickRange) {
        pick = static_cast<int>(i);
        pickRange = range;
        pickChannel = channel;
      }
    }
    if (pick < 0) break;
    Box& box = boxes[static_cast<size_t>(pick)];
    const auto first = colours.begin() + static_cast<std::ptrdiff_t>(box.begin);
    const auto last = colours.begin() + static_cast<std::ptrdiff_t>(box.end);
    std::sort(first, last, [&](const Weighted& a, const Weighted& b) {
      const int ca = Channel(a.colour, pickChannel), cb = Channel(b.colour, pickChannel);
      return ca != cb ? ca < cb : a.colour < b.colour;
    });
    std::int64_t total = 0, half = 0;
    for (auto it = first; it != last; ++it) total += it->count;
    size_t cut = box.begin + 1;
    for (size_t i = box.begin; i + 1 < box.end; ++i) {
      half += colours[i].count;
      cut = i + 1;
      if (2 * half >= total) break;
    }
    const Box upper{cut, box.end};
    box.end = cut;
    boxes.push_back(upper);
  }
  std::vector<QRgb> palette;
  for (const Box& b : boxes) {
    std::int64_t r = 0, g = 0, bl = 0, n = 0;
    for (size_t i = b.begin; i < b.end; ++i) {
      r += qRed(colours[i].colour) * colours[i].count;
      g += qGreen(colours[i].colour) * colours[i].count;
      bl += qBlue(colours[i].colour) * colours[i].count;
      n += colours[i].count;
    }
    palette.push_back(qRgb(static_cast<int>((r + n / 2) / n), static_cast<int>((g + n / 2) / n),
                           static_cast<int>((bl + n / 2) / n)));
  }
  return palette;
}

// A palette of `room` colours for an image with more: colours that cover a large share of the
// picture (grass, tarmac) are kept exactly, the rest come from a median cut.
std::vector<QRgb> ReducedPalette(std::vector<QRgb> order, const std::unordered_map<QRgb, std::int64_t>& counts,
                                 size_t room, std::int64_t pixels) {
  std::stable_sort(order.begin(), order.end(), [&](QRgb a, QRgb b) { return counts.at(a) > counts.at(b); });
  std::vector<QRgb> palette;
  size_t kept = 0;
  while (kept < order.size() && kept < room / 8 && counts.at(order[kept]) * 200 >= pixels) palette.push_back(order[kept++]);
  std::vector<Weighted> rest;
  for (size_t i = kept; i < order.size(); ++i) rest.push_back({order[i], counts.at(order[i])});
  for (QRgb c : MedianCut(std::move(rest), room - kept)) {
    if (std::find(palette.begin(), palette.end(), c) == palette.end()) palette.push_back(c);
  }
  return palette;
}

// Chooses the palette and maps every pixel to it.
Indexed Quantise(const QImage& argb) {
  const int w = argb.width(), h = argb.height();
  // Count the opaque colours in order of first appearance, so that ties stay deterministic.
  std::unordered_map<QRgb, std::int64_t> counts;
  std::vector<QRgb> order;
  bool anyTransparent = false;
  for (int y = 0; y < h; ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
    for (int x = 0; x < w; ++x) {
      if (IsTransparent(row[x])) {
        anyTransparent = true;
        continue;
      }
      const QRgb c = row[x] | 0xff000000u;
      auto [it, fresh] = counts.try_emplace(c, 0);
      if (fresh) order.push_back(c);
      ++it->second;
    }
  }
  Indexed out;
  const size_t room = kMaxColours - (anyTransparent ? 1 : 0);
  if (order.size() > room) order = ReducedPalette(order, counts, room, static_cast<std::int64_t>(w) * h);
  out.palette = order;
  if (anyTransparent) {
    out.transparent = static_cast<int>(out.palette.size());
    out.palette.push_back(0xff000000u);
  }
  if (out.palette.empty()) out.palette.push_back(0xff000000u);

  std::unordered_map<QRgb, std::uint8_t> lookup;
  for (size_t i = order.size(); i-- > 0;) lookup[order[i]] = static_cast<std::uint8_t>(i);
  auto nearest = [&](QRgb c) {
    auto it = lookup.find(c);
    if (it != lookup.end()) return it->second;
    int best = 0, bestDistance = std::numeric_limits<int>::max();
    for (size_t i = 0; i < order.size(); ++i) {
      const int d = Distance(c, order[i]);
      if (d < bestDistance) {
        bestDistance = d;
        best = static_cast<int>(i);
      }
    }
    lookup[c] = static_cast<std::uint8_t>(best);
    return static_cast<std::uint8_t>(best);
  };
  out.pixels.reserve(static_cast<size_t>(w) * static_cast<size_t>(h));
  for (int y = 0; y < h; ++y) {
    const auto* row = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
    for (int x = 0; x < w; ++x) {
      out.pixels.push_back(IsTransparent(row[x]) ? static_cast<std::uint8_t>(out.transparent)
                                                 : nearest(row[x] | 0xff000000u));
    }
  }
  return out;
}

int AppendBytes(GifFileType* gif, const GifByteType* data, int length) {
  static_cast<std::string*>(gif->UserData)->append(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
  return length;
}

}  // namespace

std::string GifBytes(const QImage& image) {
  if (image.isNull()) return {};
  const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
  const Indexed indexed = Quantise(argb);

  // A GIF colour table has a power-of-two size; the spare entries stay black.
  int tableSize = 2;
  while (tableSize < static_cast<int>(indexed.palette.size())) tableSize *= 2;
  std::vector<GifColorType> colours(static_cast<size_t>(tableSize), GifColorType{0, 0, 0});
  for (size_t i = 0; i < indexed.palette.size(); ++i) {
    const QRgb c = indexed.palette[i];
    colours[i] = GifColorType{static_cast<GifByteType>(qRed(c)), static_cast<GifByteType>(qGreen(c)),
                              static_cast<GifByteType>(qBlue(c))};
  }

  std::string bytes;
  int error = 0;
  GifFileType* gif = EGifOpen(&bytes, AppendBytes, &error);
  if (gif == nullptr) return {};
  ColorMapObject* map = GifMakeMapObject(tableSize, colours.data());
  bool ok = map != nullptr;
  EGifSetGifVersion(gif, true);
  const int w = argb.width(), h = argb.height();
  ok = ok && EGifPutScreenDesc(gif, w, h, 8, 0, map) == GIF_OK;
  if (ok && indexed.transparent >= 0) {
    // Graphic control block: transparency flag, no delay, the transparent index.
    const GifByteType control[4] = {0x01, 0, 0, static_cast<GifByteType>(indexed.transparent)};
    ok = EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, 4, control) == GIF_OK;
  }
  ok = ok && EGifPutImageDesc(gif, 0, 0, w, h, false, nullptr) == GIF_OK;
  std::vector<GifPixelType> line(static_cast<size_t>(w));
  for (int y = 0; ok && y < h; ++y) {
    std::copy_n(indexed.pixels.begin() + static_cast<std::ptrdiff_t>(y) * w, w, line.begin());
    ok = EGifPutLine(gif, line.data(), w) == GIF_OK;
  }
  if (map != nullptr) GifFreeMapObject(map);
  ok = EGifCloseFile(gif, &error) == GIF_OK && ok;
  return ok ? bytes : std::string();
}

std::optional<FileError> WriteGif(const std::string& path, const QImage& image) {
  const std::string bytes = GifBytes(image);
  if (bytes.empty()) return FileError{FileErrorCode::WriteFailed, path, 0, "", "the picture could not be encoded"};
  return WriteFileAtomic(path, bytes);
}

std::string BmpBytes(const QImage& image) {
  if (image.isNull()) return {};
  QByteArray data;
  QBuffer buffer(&data);
  buffer.open(QIODevice::WriteOnly);
  if (!image.convertToFormat(QImage::Format_RGB32).save(&buffer, "BMP")) return {};
  return std::string(data.constData(), static_cast<size_t>(data.size()));
}

std::optional<FileError> WriteBmp(const std::string& path, const QImage& image) {
  const std::string bytes = BmpBytes(image);
  if (bytes.empty()) return FileError{FileErrorCode::WriteFailed, path, 0, "", "the picture could not be encoded"};
  return WriteFileAtomic(path, bytes);
}

}  // namespace vm
