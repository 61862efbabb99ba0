// The memory canvas that a full queue of images is composed on: DIBs drawn
// into a compatible bitmap keep their bytes, reading back takes two steps,
// and handles that are not live are refused.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace {

BITMAPINFO Rgb24(LONG width, LONG height) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  info.bmiHeader.biCompression = BI_RGB;
  return info;
}

class MemoryCanvas : public ::testing::Test {
 protected:
  void SetUp() override {
    screen_ = GetDC(nullptr);
    ASSERT_NE(screen_, nullptr);
    dc_ = CreateCompatibleDC(screen_);
    ASSERT_NE(dc_, nullptr);
    bitmap_ = CreateCompatibleBitmap(screen_, 6, 4);
    ASSERT_NE(bitmap_, nullptr);
    old_ = SelectObject(dc_, bitmap_);
    ASSERT_NE(old_, nullptr);
  }
  void TearDown() override {
    EXPECT_EQ(SelectObject(dc_, old_), static_cast<HGDIOBJ>(bitmap_));
    EXPECT_TRUE(DeleteObject(bitmap_));
    EXPECT_TRUE(DeleteDC(dc_));
    EXPECT_EQ(ReleaseDC(nullptr, screen_), 1);
  }

  // The canvas's rows, top-down, each padded to 20 bytes.
  std::string Read() {
    BITMAPINFO info = Rgb24(6, -4);
    EXPECT_EQ(GetDIBits(dc_, bitmap_, 0, 4, nullptr, &info, DIB_RGB_COLORS), 4);
    EXPECT_EQ(info.bmiHeader.biSizeImage, 80u);
    std::string rows(info.bmiHeader.biSizeImage, '\x55');
    EXPECT_EQ(GetDIBits(dc_, bitmap_, 0, 4, rows.data(), &info, DIB_RGB_COLORS), 4);
    return rows;
  }

  HDC screen_ = nullptr;
  HDC dc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ old_ = nullptr;
};

TEST_F(MemoryCanvas, DibBytesPassUnchangedIntoTheirPlace) {
  // A new canvas is all zero.
  EXPECT_EQ(Read(), std::string(80, '\0'));

  // A 2 x 2 top-down DIB, rows padded to 8 bytes, into (1, 1) - (3, 3).
  std::vector<uint8_t> dib = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
  BITMAPINFO info = Rgb24(2, -2);
  EXPECT_EQ(StretchDIBits(dc_, 1, 1, 2, 2, 0, 0, 2, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 2);
  std::string rows = Read();
  EXPECT_EQ(rows.substr(20, 20), std::string("\0\0\0\1\2\3\4\5\6\0\0\0\0\0\0\0\0\0\0\0", 20));
  EXPECT_EQ(rows.substr(40, 20), std::string("\0\0\0\7\10\11\12\13\14\0\0\0\0\0\0\0\0\0\0\0", 20));

  // Twice as large into the right half: each byte pair doubled both ways.
  EXPECT_EQ(StretchDIBits(dc_, 2, 0, 4, 4, 0, 0, 2, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 2);
  rows = Read();
  EXPECT_EQ(rows.substr(6, 12), std::string("\1\2\3\1\2\3\4\5\6\4\5\6", 12));
  EXPECT_EQ(rows.substr(66, 12), std::string("\7\10\11\7\10\11\12\13\14\12\13\14", 12));

  // A source rectangle half outside the DIB draws only the part inside, in
  // the share of the target it would have had.
  EXPECT_EQ(StretchDIBits(dc_, 0, 0, 2, 2, 1, 1, 2, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 2);
  rows = Read();
  EXPECT_EQ(rows.substr(0, 6), std::string("\12\13\14\0\0\0", 6));
  EXPECT_EQ(rows.substr(20, 6), std::string("\0\0\0\1\2\3", 6));
  // Wholly outside, or not a 24-bit DIB: nothing.
  EXPECT_EQ(StretchDIBits(dc_, 0, 0, 2, 2, 2, 0, 2, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 0);
  info.bmiHeader.biBitCount = 32;
  EXPECT_EQ(StretchDIBits(dc_, 0, 0, 2, 2, 0, 0, 2, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 0);
  EXPECT_EQ(Read().substr(0, 6), std::string("\12\13\14\0\0\0", 6));
}

TEST_F(MemoryCanvas, BottomUpReadsAndTheFormatQuery) {
  std::vector<uint8_t> dib = {1, 2, 3, 0, 4, 5, 6, 0};  // 1 x 2, bottom row first
  BITMAPINFO info = Rgb24(1, 2);
  EXPECT_EQ(StretchDIBits(dc_, 0, 0, 1, 2, 0, 0, 1, 2, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY), 2);
  // Top row (4, 5, 6) first when read top-down; read bottom-up, last.
  BITMAPINFO query{};
  query.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  EXPECT_EQ(GetDIBits(dc_, bitmap_, 0, 4, nullptr, &query, DIB_RGB_COLORS), 4);
  EXPECT_EQ(query.bmiHeader.biWidth, 6);
  EXPECT_EQ(query.bmiHeader.biHeight, 4);
  EXPECT_EQ(query.bmiHeader.biBitCount, 24);
  std::string rows(80, '\0');
  EXPECT_EQ(GetDIBits(dc_, bitmap_, 0, 4, rows.data(), &query, DIB_RGB_COLORS), 4);
  EXPECT_EQ(rows.substr(40, 3), "\1\2\3");
  EXPECT_EQ(rows.substr(60, 3), "\4\5\6");
}

TEST(MemoryCanvasHandles, ForeignAndStaleHandlesAreRefused) {
  int local = 0;
  auto* foreign = reinterpret_cast<HDC>(&local);
  EXPECT_EQ(CreateCompatibleDC(foreign), nullptr);
  EXPECT_EQ(CreateCompatibleBitmap(foreign, 4, 4), nullptr);
  EXPECT_EQ(SelectObject(foreign, &local), nullptr);
  EXPECT_FALSE(DeleteObject(&local));
  EXPECT_FALSE(DeleteDC(foreign));
  EXPECT_EQ(ReleaseDC(nullptr, foreign), 0);
  BITMAPINFO info = Rgb24(1, 1);
  uint8_t pixel[8] = {};
  EXPECT_EQ(StretchDIBits(foreign, 0, 0, 1, 1, 0, 0, 1, 1, pixel, &info, DIB_RGB_COLORS, SRCCOPY), 0);
  EXPECT_EQ(GetDIBits(foreign, reinterpret_cast<HBITMAP>(&local), 0, 1, pixel, &info, DIB_RGB_COLORS), 0);

  HDC screen = GetDC(nullptr);
  HDC dc = CreateCompatibleDC(screen);
  HBITMAP bitmap = CreateCompatibleBitmap(screen, 2, 2);
  HBRUSH brush = CreateSolidBrush(0xFFFFFF);
  HPEN pen = CreatePen(PS_SOLID, 1, 0xFFFFFF);
  ASSERT_TRUE(dc && bitmap && brush && pen);
  EXPECT_EQ(CreateCompatibleBitmap(screen, 0, 2), nullptr);
  // A selected object is not a DC, nor a DC an object; a selected bitmap
  // cannot be deleted.
  HGDIOBJ oldBitmap = SelectObject(dc, bitmap);
  HGDIOBJ oldBrush = SelectObject(dc, brush);
  HGDIOBJ oldPen = SelectObject(dc, pen);
  ASSERT_TRUE(oldBitmap && oldBrush && oldPen);
  EXPECT_EQ(SelectObject(reinterpret_cast<HDC>(bitmap), brush), nullptr);
  EXPECT_EQ(SelectObject(dc, dc), nullptr);
  EXPECT_FALSE(DeleteObject(bitmap));
  EXPECT_FALSE(DeleteObject(dc));
  SelectObject(dc, oldBitmap);
  SelectObject(dc, oldBrush);
  SelectObject(dc, oldPen);
  EXPECT_TRUE(DeleteObject(bitmap));
  EXPECT_TRUE(DeleteObject(brush));
  EXPECT_TRUE(DeleteObject(pen));
  EXPECT_TRUE(DeleteDC(dc));
  EXPECT_EQ(ReleaseDC(nullptr, screen), 1);
  // Each handle is gone now.
  EXPECT_FALSE(DeleteObject(bitmap));
  EXPECT_FALSE(DeleteDC(dc));
  EXPECT_EQ(ReleaseDC(nullptr, screen), 0);
  EXPECT_EQ(CreateCompatibleDC(screen), nullptr);
}

}  // namespace
