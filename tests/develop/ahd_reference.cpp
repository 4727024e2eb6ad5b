#include "ahd_reference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace qx {
namespace {

struct Rgb {
  int c[3];
};
struct LabColor {
  int64_t l, a, b;
};

int Mirror(int i, int n) {
  return i < 0 ? -i : i >= n ? 2 * (n - 1) - i : i;
}
int Clamp16(int v) {
  return std::min(std::max(v, 0), 65535);
}

double LabF(int i) {
  const double t = i / 65535.0;
  return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0;
}
int64_t Scaled(int i, double scale) {
  return int64_t(std::floor(LabF(i) * scale + 0.5));
}

class Frame {
 public:
  Frame(const std::vector<uint16_t>& mosaic, int w, int h, const std::array<uint8_t, 4>& cfa, const std::array<int32_t, 9>& labMatrix)
      : mosaic_(mosaic), w_(w), h_(h), cfa_(cfa), matrix_(labMatrix) {}

  void Debayer() {
    for (int d = 0; d < 2; ++d) {
      green_[d].resize(size_t(w_) * h_);
      ForAll([&](int x, int y) { green_[d][At(x, y)] = DirectionalGreen(x, y, d); });
    }
    for (int d = 0; d < 2; ++d) {  // one position more on each side
      lab_[d].resize(size_t(w_ + 2) * (h_ + 2));
      for (int y = -1; y <= h_; ++y) {
        for (int x = -1; x <= w_; ++x) lab_[d][LabAt(x, y)] = ToLab(FullColor(x, y, d));
      }
    }
    for (auto& votes : votes_) votes.resize(size_t(w_) * h_);
    ForAll([&](int x, int y) { CountHomogeneity(x, y); });
    rgb_.resize(size_t(w_) * h_);
    ForAll([&](int x, int y) { rgb_[At(x, y)] = Selected(x, y); });
  }

  void Refine() {
    std::vector<Rgb> next = rgb_;
    ForAll([&](int x, int y) {
      const int g = rgb_[At(x, y)].c[1];
      for (int c : {0, 2}) {
        if (ColorAt(x, y) != c) next[At(x, y)].c[c] = Clamp16(Median(x, y, c, 1) + g);
      }
    });
    rgb_ = next;
    ForAll([&](int x, int y) {
      const Rgb p = rgb_[At(x, y)];
      if (ColorAt(x, y) != 1) next[At(x, y)].c[1] = Clamp16((Median(x, y, 1, 0) + p.c[0] + Median(x, y, 1, 2) + p.c[2]) >> 1);
    });
    rgb_ = next;
  }

  std::vector<uint16_t> Interleaved() const {
    std::vector<uint16_t> out;
    for (const Rgb& p : rgb_) out.insert(out.end(), {uint16_t(p.c[0]), uint16_t(p.c[1]), uint16_t(p.c[2])});
    return out;
  }

 private:
  template <typename Visit>
  void ForAll(Visit visit) const {
    for (int y = 0; y < h_; ++y) {
      for (int x = 0; x < w_; ++x) visit(x, y);
    }
  }
  size_t At(int x, int y) const { return size_t(Mirror(y, h_)) * w_ + Mirror(x, w_); }
  size_t LabAt(int x, int y) const { return size_t(y + 1) * (w_ + 2) + (x + 1); }
  int Q(int x, int y) const { return mosaic_[At(x, y)]; }
  int G(int x, int y, int d) const { return green_[d][At(x, y)]; }
  int ColorAt(int x, int y) const { return cfa_[(y & 1) * 2 + (x & 1)]; }

  int DirectionalGreen(int x, int y, int d) const {
    if (ColorAt(x, y) == 1) return Q(x, y);
    const int dx = d == 0, dy = d == 1;
    const int a = Q(x - dx, y - dy), b = Q(x + dx, y + dy), c = Q(x, y);
    const int v4 = 2 * (a + c + b) - Q(x - 2 * dx, y - 2 * dy) - Q(x + 2 * dx, y + 2 * dy);
    if (v4 < 4 * std::min(a, b)) return std::min(a, b);
    return std::min(v4 >> 2, std::max(a, b));
  }

  Rgb FullColor(int x, int y, int d) const {
    const int c = Q(x, y);
    if (ColorAt(x, y) == 1) {
      const int h = Clamp16(c + ((Q(x - 1, y) + Q(x + 1, y) - G(x - 1, y, d) - G(x + 1, y, d)) >> 1));
      const int v = Clamp16(c + ((Q(x, y - 1) + Q(x, y + 1) - G(x, y - 1, d) - G(x, y + 1, d)) >> 1));
      return ColorAt(x + 1, y) == 0 ? Rgb{{h, c, v}} : Rgb{{v, c, h}};
    }
    const int gc = G(x, y, d);
    int s = 0;
    for (int dy : {-1, 1}) {
      for (int dx : {-1, 1}) s += Q(x + dx, y + dy) - G(x + dx, y + dy, d);
    }
    const int e = Clamp16(gc + ((s + 1) >> 2));
    return ColorAt(x, y) == 0 ? Rgb{{c, gc, e}} : Rgb{{e, gc, c}};
  }

  LabColor ToLab(const Rgb& p) const {
    int xyz[3];
    for (int row = 0; row < 3; ++row) {
      int64_t sum = 512;
      for (int i = 0; i < 3; ++i) sum += int64_t(matrix_[3 * row + i]) * p.c[i];
      xyz[row] = sum <= 0 ? 0 : int(std::min<int64_t>(sum >> 10, 65535));
    }
    return {Scaled(xyz[1], 7424) - 1024, Scaled(xyz[0], 32000) - Scaled(xyz[1], 32000), Scaled(xyz[1], 12800) - Scaled(xyz[2], 12800)};
  }

  void CountHomogeneity(int x, int y) {
    static constexpr int kX[4] = {-1, 1, 0, 0}, kY[4] = {0, 0, -1, 1};
    int64_t dl[2][4], dab[2][4];
    for (int d = 0; d < 2; ++d) {
      const LabColor p = lab_[d][LabAt(x, y)];
      for (int i = 0; i < 4; ++i) {
        const LabColor q = lab_[d][LabAt(x + kX[i], y + kY[i])];
        dl[d][i] = std::abs(p.l - q.l);
        dab[d][i] = (p.a - q.a) * (p.a - q.a) + (p.b - q.b) * (p.b - q.b);
      }
    }
    const int64_t leps = std::min(std::max(dl[0][0], dl[0][1]), std::max(dl[1][2], dl[1][3]));
    const int64_t abeps = std::min(std::max(dab[0][0], dab[0][1]), std::max(dab[1][2], dab[1][3]));
    for (int d = 0; d < 2; ++d) {
      int count = 0;
      for (int i = 0; i < 4; ++i) count += dl[d][i] <= leps && dab[d][i] <= abeps;
      votes_[d][At(x, y)] = count;
    }
  }

  Rgb Selected(int x, int y) const {
    int sum[2] = {0, 0};
    for (int d = 0; d < 2; ++d) {
      for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i) sum[d] += votes_[d][At(x + i, y + j)];
      }
    }
    const Rgb h = FullColor(x, y, 0), v = FullColor(x, y, 1);
    if (sum[0] != sum[1]) return sum[0] > sum[1] ? h : v;
    return {{(h.c[0] + v.c[0]) >> 1, (h.c[1] + v.c[1]) >> 1, (h.c[2] + v.c[2]) >> 1}};
  }

  /// Median of channel `plus` less channel `minus` over the 3 × 3 neighbourhood.
  int Median(int x, int y, int plus, int minus) const {
    std::array<int, 9> values;
    for (int i = 0; i < 9; ++i) {
      const Rgb& p = rgb_[At(x + i % 3 - 1, y + i / 3 - 1)];
      values[size_t(i)] = p.c[plus] - p.c[minus];
    }
    std::sort(values.begin(), values.end());
    return values[4];
  }

  const std::vector<uint16_t>& mosaic_;
  const int w_, h_;
  const std::array<uint8_t, 4> cfa_;
  const std::array<int32_t, 9> matrix_;
  std::vector<int> green_[2], votes_[2];
  std::vector<LabColor> lab_[2];
  std::vector<Rgb> rgb_;
};

}  // namespace

std::vector<uint16_t> ReferenceAhd(const std::vector<uint16_t>& mosaic, int w, int h, const std::array<uint8_t, 4>& cfa,
                                   const std::array<int32_t, 9>& labMatrix, bool refined) {
  Frame frame(mosaic, w, h, cfa, labMatrix);
  frame.Debayer();
  for (int i = 0; refined && i < 3; ++i) frame.Refine();
  return frame.Interleaved();
}

}  // namespace qx
