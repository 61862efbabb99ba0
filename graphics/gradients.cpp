// Gradient fills as shadings of Gouraud-shaded triangles (shading type 4).
//
// Each vertex takes six bytes: edge flag, x, y, red, green, blue. Positions
// are quantised to 1/255 of the extents and decoded back to device pixels
// by /Decode; the shading is placed with a " cm " that maps device pixels
// relative to the extents' top left corner, y growing downward.
#include "graphics/gradients.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "base/number_format.h"

namespace {

constexpr size_t kVertexBytes = 6;
constexpr size_t kBufferGrowth = 1024;

// The vertex stream, grown by 1024 zeroed bytes whenever a vertex might not
// fit any more.
class VertexStream {
 public:
  explicit VertexStream(const RECTL& extents) : extents_(extents), data_(new uint8_t[kBufferGrowth]()) {}

  void Add(const TRIVERTEX& at, const TRIVERTEX& color, uint8_t flag) {
    if (capacity_ - used_ < kVertexBytes) {
      std::unique_ptr<uint8_t[]> grown(new uint8_t[capacity_ + kBufferGrowth]());
      std::memcpy(grown.get(), data_.get(), used_);
      data_ = std::move(grown);
      capacity_ += kBufferGrowth;
    }
    // The extent is tested before any division: an empty one cannot hold
    // the mesh.
    const int64_t width = int64_t{extents_.right} - extents_.left;
    const int64_t height = int64_t{extents_.bottom} - extents_.top;
    if (width == 0 || height == 0) throw std::invalid_argument("gradient extent is empty");
    uint8_t* out = data_.get() + used_;
    out[0] = flag;
    // Vertices outside the extents wrap in their byte.
    out[1] = static_cast<uint8_t>((int64_t{at.x} - extents_.left) * 255 / width);
    out[2] = static_cast<uint8_t>((int64_t{at.y} - extents_.top) * 255 / height);
    out[3] = static_cast<uint8_t>(color.Red >> 8);
    out[4] = static_cast<uint8_t>(color.Green >> 8);
    out[5] = static_cast<uint8_t>(color.Blue >> 8);
    used_ += kVertexBytes;
  }

  const uint8_t* Data() const { return data_.get(); }
  size_t Size() const { return used_; }
  size_t Capacity() const { return capacity_; }

 private:
  RECTL extents_;
  std::unique_ptr<uint8_t[]> data_;
  size_t capacity_ = kBufferGrowth;
  size_t used_ = 0;
};

// A vertex with the position of `x` and `y` taken from two vertices.
TRIVERTEX Corner(const TRIVERTEX& x, const TRIVERTEX& y) {
  TRIVERTEX corner = x;
  corner.y = y.y;
  return corner;
}

const TRIVERTEX& VertexAt(const TRIVERTEX* vertices, ULONG count, ULONG index) {
  if (index >= count) throw std::invalid_argument("gradient vertex index out of range");
  return vertices[index];
}

}  // namespace

void CKMC_GradientWriter::WriteGradient(const TRIVERTEX* vertices, ULONG vertexCount, const void* mesh,
                                        ULONG meshCount, const RECTL& extents, ULONG mode) {
  if (m_switches.jobCancelled) return;
  if (mode != GRADIENT_FILL_RECT_H && mode != GRADIENT_FILL_RECT_V && mode != GRADIENT_FILL_TRIANGLE) return;
  if (meshCount && (!mesh || !vertices)) throw std::invalid_argument("gradient without vertices or mesh");

  CKMC_Stream shading;
  CKMC_Dictionary& dict = shading.dict;
  dict.SetNumber("/ShadingType", 4);
  dict.SetNumber("/BitsPerCoordinate", 8);
  dict.SetNumber("/BitsPerComponent", 8);
  dict.SetNumber("/BitsPerFlag", 8);
  dict.SetReference("/ColorSpace", CKMC_DocumentWriter::kColorSpaceObject);
  dict.SetLiteral(
      "/Decode", CKM_ByteString("[0 " + snk::FormatInteger(int64_t{extents.right} - extents.left) + " 0 " +
                                snk::FormatInteger(int64_t{extents.bottom} - extents.top) + " 0 1 0 1 0 1]"));
  dict.SetLiteral("/Filter", "/FlateDecode");

  VertexStream stream(extents);
  if (mode == GRADIENT_FILL_TRIANGLE) {
    const auto* triangles = static_cast<const GRADIENT_TRIANGLE*>(mesh);
    for (ULONG i = 0; i < meshCount; ++i) {
      for (ULONG index : {triangles[i].Vertex1, triangles[i].Vertex2, triangles[i].Vertex3}) {
        const TRIVERTEX& v = VertexAt(vertices, vertexCount, index);
        stream.Add(v, v, 0);
      }
    }
  } else {
    // Two triangles sharing the diagonal from the lower left to the upper
    // right corner; the colour runs across (H) or down (V).
    const bool horizontal = mode == GRADIENT_FILL_RECT_H;
    const auto* rects = static_cast<const GRADIENT_RECT*>(mesh);
    for (ULONG i = 0; i < meshCount; ++i) {
      const TRIVERTEX& ul = VertexAt(vertices, vertexCount, rects[i].UpperLeft);
      const TRIVERTEX& lr = VertexAt(vertices, vertexCount, rects[i].LowerRight);
      stream.Add(ul, ul, 0);
      stream.Add(Corner(ul, lr), horizontal ? ul : lr, 0);
      stream.Add(Corner(lr, ul), horizontal ? lr : ul, 0);
      stream.Add(lr, lr, 1);
    }
  }

  shading.data = CompressToString(stream.Data(), stream.Size());
  const uint32_t number = m_writer.NewObjectNumber();
  m_writer.WriteIndirectObject(number, &shading);
  m_writer.UseShading(number);

  CKM_BinaryBuf& out = m_page.Operators();
  double x = extents.left, y = extents.top;
  DeviceToUser(m_writer.Geometry(), x, y);
  const std::string scale = snk::FormatG(m_writer.Geometry().pixelToPoint);
  out.AppendString("q " + scale + " 0 0 -" + scale + ' ' + snk::FormatG(x) + ' ' + snk::FormatG(y) +
                   " cm  BX /Sh" + snk::FormatInteger(number) + " sh EX Q \n");
}
