// make_sample_job OUTDIR: writes the bundled sample job, three EMF pages
// (sample-1.emf .. sample-3.emf) authored with EmfWriter. The bytes depend
// on nothing but this code, so the pages are the same on every run.
#include <cstdio>
#include <string>
#include <vector>

#include "tools/sample_job/emf_writer.h"

namespace {

using snk::gdi::EmfFont;
using snk::gdi::EmfWriter;
using snk::gdi::PointS;
using snk::gdi::Rgb;

// Stock objects ([MS-EMF] 2.1.31), selected before deleting our own.
constexpr uint32_t kWhiteBrush = snk::gdi::kStockObject | 0;
constexpr uint32_t kBlackPen = snk::gdi::kStockObject | 7;
constexpr uint32_t kDefaultFont = snk::gdi::kStockObject | 14;
// Text alignment ([MS-EMF] 2.1.32).
constexpr uint32_t kTaBaseline = 24;
constexpr uint32_t kTaCenter = 6;

EmfFont Arial(int32_t height, int32_t weight = 400, int32_t escapement = 0) {
  EmfFont font;
  font.height = height;
  font.weight = weight;
  font.escapement = escapement;
  font.orientation = escapement;
  font.quality = 5;          // CLEARTYPE_QUALITY
  font.pitchAndFamily = 34;  // VARIABLE_PITCH | FF_SWISS
  font.face = u"Arial";
  return font;
}

// Sets up 0.1 mm logical units over a page of `width` x `height` 0.1 mm
// drawn on a 300 dpi reference device of `px` pixels.
void TenthsOfMm(EmfWriter& page, int32_t width, int32_t height, SIZEL px) {
  page.SetMapMode(snk::gdi::kMmAnisotropic);
  page.SetWindowOrgEx(0, 0);
  page.SetWindowExtEx(width, height);
  page.SetViewportOrgEx(0, 0);
  page.SetViewportExtEx(px.cx, px.cy);
}

void Text(EmfWriter& page, int32_t x, int32_t y, std::u16string_view text) { page.ExtTextOutW(x, y, text); }

void Page1Text(EmfWriter& page) {
  page.ExtCreateFontIndirectW(1, Arial(-85, 700));
  page.ExtCreateFontIndirectW(2, Arial(-42));
  page.SetBkMode(snk::gdi::kTransparent);
  page.SetTextAlign(kTaBaseline);
  page.SelectObject(1);
  page.SetTextColor(Rgb(0x1F, 0x3A, 0x68));
  Text(page, 200, 300, u"Sample job: page 1");
  page.CreatePen(3, snk::gdi::kPsSolid, 6, Rgb(0x1F, 0x3A, 0x68));
  page.SelectObject(3);
  page.MoveToEx(200, 360);
  page.LineTo(1900, 360);
  page.SelectObject(2);
  page.SetTextColor(Rgb(0x20, 0x20, 0x20));
  Text(page, 200, 480, u"This A4 portrait page was written by make_sample_job.");
  Text(page, 200, 560, u"Each line is an EMR_EXTTEXTOUTW record in Arial, 12 points.");
  Text(page, 200, 640,
       u"Accents and symbols: d\u00E9j\u00E0 vu, \u00C5ngstr\u00F6m, 25 \u00B0C, \u20AC 9.99");
  const std::u16string spaced = u"Spaced out with a dx array";
  const std::vector<int32_t> dx(spaced.size(), 30);
  page.ExtTextOutW(200, 720, spaced, dx);
}

void Page1Shapes(EmfWriter& page) {
  page.SaveDC();
  page.CreatePen(4, snk::gdi::kPsSolid, 8, Rgb(0x1F, 0x3A, 0x68));
  page.CreateBrushIndirect(5, snk::gdi::kBsSolid, Rgb(0xBF, 0xD7, 0xF2));
  page.SelectObject(4);
  page.SelectObject(5);
  page.Rectangle({200, 900, 900, 1500});
  page.CreateBrushIndirect(6, snk::gdi::kBsSolid, Rgb(0xE8, 0x4A, 0x3C));
  page.SelectObject(6);
  page.Ellipse({1100, 900, 1900, 1500});
  page.CreateBrushIndirect(7, snk::gdi::kBsHatched, Rgb(0x2E, 0x8B, 0x57), 5);  // HS_DIAGCROSS
  page.SelectObject(7);
  const PointS triangle[] = {{550, 1700}, {200, 2300}, {900, 2300}};
  page.Polygon16(triangle);
  page.CreatePen(8, snk::gdi::kPsSolid, 12, Rgb(0x8E, 0x44, 0xAD));
  page.SelectObject(8);
  const PointS curve[] = {{1100, 2300}, {1300, 1500}, {1700, 2700}, {1900, 1700}};
  page.PolyBezier16(curve);
  page.RestoreDC(-1);
  page.SelectObject(kWhiteBrush);
  page.SelectObject(kBlackPen);
  page.SelectObject(kDefaultFont);
  for (uint32_t handle = 1; handle <= 8; ++handle) page.DeleteObject(handle);
}

// A4 portrait: a title, text and a few shapes.
EmfWriter Page1() {
  const SIZEL px{2480, 3508};
  EmfWriter page({0, 0, 21000, 29700}, px, {210, 297});
  TenthsOfMm(page, 2100, 2970, px);
  Page1Text(page);
  Page1Shapes(page);
  return page;
}

void Page2Pens(EmfWriter& page) {
  const uint32_t colors[] = {Rgb(0, 0, 0), Rgb(0xC0, 0x39, 0x2B), Rgb(0x27, 0xAE, 0x60),
                             Rgb(0x29, 0x80, 0xB9), Rgb(0xF3, 0x9C, 0x12)};
  const int32_t widths[] = {1, 4, 10, 20, 36};
  for (uint32_t i = 0; i < 5; ++i) {
    page.CreatePen(1, snk::gdi::kPsSolid, widths[i], colors[i]);
    page.SelectObject(1);
    const int32_t y = 2300 + static_cast<int32_t>(i) * 120;
    page.MoveToEx(300, y);
    page.LineTo(2250, y);
    page.SelectObject(kBlackPen);
    page.DeleteObject(1);
  }
  const uint32_t styles[] = {snk::gdi::kPsDash, snk::gdi::kPsDot};
  for (uint32_t i = 0; i < 2; ++i) {
    page.CreatePen(1, styles[i], 1, Rgb(0x55, 0x55, 0x55));
    page.SelectObject(1);
    const int32_t y = 2950 + static_cast<int32_t>(i) * 60;
    page.MoveToEx(300, y);
    page.LineTo(2250, y);
    page.SelectObject(kBlackPen);
    page.DeleteObject(1);
  }
}

void Page2Shapes(EmfWriter& page) {
  page.CreatePen(2, snk::gdi::kPsSolid, 3, Rgb(0x33, 0x33, 0x33));
  page.SelectObject(2);
  for (int32_t i = 0; i < 4; ++i) {
    const auto shade = static_cast<uint8_t>(0x40 + i * 0x30);
    page.CreateBrushIndirect(3, snk::gdi::kBsSolid, Rgb(shade, 0x60, 0xFF - shade));
    page.SelectObject(3);
    page.Rectangle({300 + i * 500, 500, 700 + i * 500, 900});
    const int32_t grow = (3 - i) * 120;  // largest first, so each stays visible
    page.Ellipse({1400 - grow, 1050 - grow / 4, 1800 + grow, 1450 + grow / 4});
    page.SelectObject(kWhiteBrush);
    page.DeleteObject(3);
  }
  page.CreatePen(3, snk::gdi::kPsSolid, 6, Rgb(0x8E, 0x44, 0xAD));
  page.SelectObject(3);
  std::vector<PointS> wave{{300, 1900}};
  for (int16_t i = 0; i < 6; ++i) {
    const auto x = static_cast<int16_t>(300 + i * 325);
    const int16_t dy = i % 2 == 0 ? -300 : 300;
    wave.push_back({static_cast<int16_t>(x + 108), static_cast<int16_t>(1900 + dy)});
    wave.push_back({static_cast<int16_t>(x + 217), static_cast<int16_t>(1900 + dy)});
    wave.push_back({static_cast<int16_t>(x + 325), 1900});
  }
  page.PolyBezier16(wave);
  page.SelectObject(kBlackPen);
  page.DeleteObject(2);
  page.DeleteObject(3);
}

// US Letter in device pixels (MM_TEXT): shapes, a bezier wave and pens.
EmfWriter Page2() {
  EmfWriter page({0, 0, 21590, 27940}, {2550, 3300}, {216, 279});
  page.SetMapMode(snk::gdi::kMmText);
  page.ExtCreateFontIndirectW(1, Arial(-100, 700));
  page.SelectObject(1);
  page.SetBkMode(snk::gdi::kTransparent);
  Text(page, 300, 250, u"Sample job: page 2 (Letter)");
  page.SelectObject(kDefaultFont);
  page.DeleteObject(1);
  Page2Shapes(page);
  Page2Pens(page);
  return page;
}

struct Bar {
  const char16_t* label;
  int16_t value;  // 0.1 mm high
};

void Page3Bars(EmfWriter& page, int16_t baseY) {
  const Bar bars[] = {{u"Q1", 620}, {u"Q2", 910}, {u"Q3", 480}, {u"Q4", 1180}};
  page.CreatePen(2, snk::gdi::kPsSolid, 2, Rgb(0x1B, 0x4F, 0x72));
  page.SelectObject(2);
  page.CreateBrushIndirect(3, snk::gdi::kBsSolid, Rgb(0x5D, 0xAD, 0xE2));
  page.CreateBrushIndirect(4, snk::gdi::kBsSolid, Rgb(0x2E, 0x86, 0xC1));
  page.SetTextAlign(kTaCenter);
  for (int16_t i = 0; i < 4; ++i) {
    const auto left = static_cast<int16_t>(500 + i * 420);
    const auto top = static_cast<int16_t>(baseY - bars[i].value);
    const auto right = static_cast<int16_t>(left + 260);
    const PointS front[] = {{left, top}, {right, top}, {right, baseY}, {left, baseY}};
    const PointS side[] = {{right, top},
                           {static_cast<int16_t>(right + 60), static_cast<int16_t>(top - 60)},
                           {static_cast<int16_t>(right + 60), static_cast<int16_t>(baseY - 60)},
                           {right, baseY}};
    page.SelectObject(3);
    page.Polygon16(front);
    page.SelectObject(4);
    page.Polygon16(side);
    Text(page, left + 130, baseY + 40, bars[i].label);
  }
  page.SelectObject(kWhiteBrush);
  page.DeleteObject(3);
  page.DeleteObject(4);
}

void Page3Area(EmfWriter& page, int16_t baseY) {
  const int16_t values[] = {300, 520, 410, 760, 690, 980, 870};
  std::vector<PointS> area{{2300, baseY}};
  for (int16_t i = 0; i < 7; ++i)
    area.push_back({static_cast<int16_t>(2300 + i * 80), static_cast<int16_t>(baseY - values[i])});
  area.push_back({2780, baseY});
  page.CreateBrushIndirect(3, snk::gdi::kBsSolid, Rgb(0xF5, 0xB0, 0x41));
  page.SelectObject(3);
  page.Polygon16(area);
  page.SelectObject(kWhiteBrush);
  page.DeleteObject(3);
  Text(page, 2540, baseY + 40, u"Trend");
}

// A4 landscape: a small chart of polygons with labels.
EmfWriter Page3() {
  const SIZEL px{3508, 2480};
  EmfWriter page({0, 0, 29700, 21000}, px, {297, 210});
  TenthsOfMm(page, 2970, 2100, px);
  page.SetBkMode(snk::gdi::kTransparent);
  page.ExtCreateFontIndirectW(1, Arial(-70, 700));
  page.ExtCreateFontIndirectW(5, Arial(-35));
  page.ExtCreateFontIndirectW(6, Arial(-35, 400, 900));
  page.SelectObject(1);
  Text(page, 300, 150, u"Sample job: page 3 (A4 landscape)");
  const int16_t baseY = 1700;
  page.SelectObject(kBlackPen);
  page.MoveToEx(400, 300 + 100);
  page.LineTo(400, baseY);
  page.LineTo(2850, baseY);
  page.SelectObject(6);
  Text(page, 300, 1300, u"Sales (units)");
  page.SelectObject(5);
  Page3Bars(page, baseY);
  Page3Area(page, baseY);
  page.SelectObject(kBlackPen);
  page.SelectObject(kDefaultFont);
  for (uint32_t handle : {1u, 2u, 5u, 6u}) page.DeleteObject(handle);
  return page;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_sample_job OUTDIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  const EmfWriter pages[] = {Page1(), Page2(), Page3()};
  for (int i = 0; i < 3; ++i) {
    const std::string path = dir + "/sample-" + std::to_string(i + 1) + ".emf";
    if (!pages[i].WriteFile(path)) {
      std::fprintf(stderr, "make_sample_job: cannot write %s\n", path.c_str());
      return 1;
    }
  }
  return 0;
}
