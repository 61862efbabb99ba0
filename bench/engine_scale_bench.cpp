// Growth of a page's print time with the size of its engine objects.
//
//   bench_engine_scale [--benchmark_filter=...]
//
// Each case writes one EMF page whose single object has N elements (a
// polygon of N points, a clip and a filled region of N rectangles, N text
// records) and prints it with snkprint in a child process. Google
// Benchmark fits the times to O(N): the per-element time should stay flat
// from 10,000 to 1,000,000 elements.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/sample_job/emf_writer.h"

namespace {

using snk::gdi::EmfWriter;

constexpr uint32_t kEmrPolygon = 3;
constexpr uint32_t kEmrFillRgn = 71;
constexpr uint32_t kRgnCopy = 5;
constexpr SIZEL kPixels{2480, 3508};  // A4 at 300 dpi, MM_TEXT

EmfWriter A4Page() {
  EmfWriter page({0, 0, 21000, 29700}, kPixels, {210, 297});
  page.SetMapMode(snk::gdi::kMmText);
  page.CreateBrushIndirect(1, snk::gdi::kBsSolid, snk::gdi::Rgb(0x20, 0x60, 0xA0));
  page.SelectObject(1);
  return page;
}

// A star of n points around the page's centre: every edge crosses many
// rows, so scan conversion sees all of them at once.
void Polygon(EmfWriter& page, int64_t n) {
  std::vector<POINTL> points;
  points.reserve(size_t(n));
  for (int64_t i = 0; i < n; ++i) {
    const double angle = 2 * M_PI * double(i) / double(n);
    const double radius = i % 2 ? 1100 : 600;
    points.push_back({int32_t(1240 + radius * std::cos(angle)), int32_t(1754 + radius * std::sin(angle))});
  }
  page.Poly(kEmrPolygon, points);
}

// n one-pixel squares on a grid with one-pixel gaps: a region of n
// rectangles in about sqrt(n) bands. It clips a page-wide fill and is
// filled itself.
void RegionRects(EmfWriter& page, int64_t n) {
  const int64_t perBand = std::max<int64_t>(1, int64_t(std::sqrt(double(n))));
  std::vector<RECTL> rects;
  rects.reserve(size_t(n));
  for (int64_t i = 0; i < n; ++i) {
    const auto x = int32_t(20 + 2 * (i % perBand)), y = int32_t(20 + 2 * (i / perBand));
    rects.push_back({x, y, x + 1, y + 1});
  }
  page.ExtSelectClipRgn(rects, kRgnCopy);
  page.Rectangle({0, 0, kPixels.cx, kPixels.cy});
  page.ExtSelectClipRgn({}, kRgnCopy);
  page.RegionRecord(kEmrFillRgn, rects, 1);
}

// n text records of a few characters on a grid over the page.
void TextRecords(EmfWriter& page, int64_t n) {
  snk::gdi::EmfFont font;
  font.height = -20;
  font.face = u"Arial";
  page.ExtCreateFontIndirectW(2, font);
  page.SelectObject(2);
  page.SetBkMode(snk::gdi::kTransparent);
  for (int64_t i = 0; i < n; ++i)
    page.ExtTextOutW(int32_t(40 * (i % 60)), int32_t(20 * (i / 60 % 170)), u"ab1");
}

// Prints the page with the snkprint next to this build and reports the
// child's wall time as the iteration's time.
void PrintPage(benchmark::State& state, void (*draw)(EmfWriter&, int64_t)) {
  const int64_t n = state.range(0);
  EmfWriter page = A4Page();
  draw(page, n);
  const std::string emf = "/tmp/snk-bench-scale.emf", pdf = "/tmp/snk-bench-scale.pdf";
  if (!page.WriteFile(emf)) {
    state.SkipWithError("cannot write the EMF page");
    return;
  }
  const std::string command = std::string(SNK_BINARY_DIR "/snkprint ") + emf + " -o " + pdf + " --overwrite";
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("snkprint failed");
      return;
    }
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.SetComplexityN(n);
  // Seconds per element, printed with an SI prefix (u: microseconds).
  state.counters["per_element"] = benchmark::Counter(
      double(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
  b->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}

BENCHMARK_CAPTURE(PrintPage, path_points, Polygon)->Apply(Sizes);
BENCHMARK_CAPTURE(PrintPage, region_rects, RegionRects)->Apply(Sizes);
BENCHMARK_CAPTURE(PrintPage, text_records, TextRecords)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
