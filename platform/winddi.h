// The printer driver interface: records, engine objects and Eng calls.
//
// Same names and layouts as the graphics engine's own interface, with fixed
// width fields. Only what the system uses is declared; later work adds to it.
// On Linux the Eng calls and object accessors are implemented by the host.
#pragma once

#include "platform/win_types.h"

#define APIENTRY

struct HSURF__;
using HSURF = HSURF__*;
struct HBITMAP__;
using HBITMAP = HBITMAP__*;
struct HPALETTE__;
using HPALETTE = HPALETTE__*;
struct HDEV__;
using HDEV = HDEV__*;
struct DHPDEV__;
using DHPDEV = DHPDEV__*;
struct DHSURF__;
using DHSURF = DHSURF__*;

using MIX = ULONG;
using ROP4 = ULONG;
using FIX = LONG;  // 28.4 fixed point

struct POINTFIX {
  FIX x;
  FIX y;
};

// ---------------------------------------------------------------- DEVMODEW

inline constexpr DWORD DM_ORIENTATION = 0x00000001;
inline constexpr DWORD DM_PAPERSIZE = 0x00000002;
inline constexpr DWORD DM_PAPERLENGTH = 0x00000004;
inline constexpr DWORD DM_PAPERWIDTH = 0x00000008;
inline constexpr DWORD DM_SCALE = 0x00000010;
inline constexpr DWORD DM_PRINTQUALITY = 0x00000400;
inline constexpr DWORD DM_YRESOLUTION = 0x00002000;
inline constexpr DWORD DM_FORMNAME = 0x00010000;

inline constexpr SHORT DMORIENT_PORTRAIT = 1;
inline constexpr SHORT DMORIENT_LANDSCAPE = 2;

#pragma pack(push, 2)
struct DEVMODEW {
  WCHAR dmDeviceName[32];
  WORD dmSpecVersion;
  WORD dmDriverVersion;
  WORD dmSize;
  WORD dmDriverExtra;
  DWORD dmFields;
  SHORT dmOrientation;  // printer arm of the position/orientation union
  SHORT dmPaperSize;
  SHORT dmPaperLength;
  SHORT dmPaperWidth;
  SHORT dmScale;
  SHORT dmCopies;
  SHORT dmDefaultSource;
  SHORT dmPrintQuality;
  SHORT dmColor;
  SHORT dmDuplex;
  SHORT dmYResolution;
  SHORT dmTTOption;
  SHORT dmCollate;
  WCHAR dmFormName[32];
  WORD dmLogPixels;
  DWORD dmBitsPerPel;
  DWORD dmPelsWidth;
  DWORD dmPelsHeight;
  DWORD dmDisplayFlags;
  DWORD dmDisplayFrequency;
  DWORD dmICMMethod;
  DWORD dmICMIntent;
  DWORD dmMediaType;
  DWORD dmDitherType;
  DWORD dmReserved1;
  DWORD dmReserved2;
  DWORD dmPanningWidth;
  DWORD dmPanningHeight;
};
#pragma pack(pop)
static_assert(sizeof(DEVMODEW) == 220);

// ---------------------------------------------------------------- GDIINFO

struct CIECHROMA {
  LONG x;
  LONG y;
  LONG Y;
};
struct COLORINFO {
  CIECHROMA Red, Green, Blue, Cyan, Magenta, Yellow, AlignmentWhite;
  LONG RedGamma, GreenGamma, BlueGamma;
  LONG MagentaInCyanDye, YellowInCyanDye, CyanInMagentaDye;
  LONG YellowInMagentaDye, CyanInYellowDye, MagentaInYellowDye;
};

inline constexpr ULONG GDI_DRIVER_VERSION = 0x5001;
inline constexpr ULONG DT_RASPRINTER = 2;

struct GDIINFO {
  ULONG ulVersion;
  ULONG ulTechnology;
  ULONG ulHorzSize;
  ULONG ulVertSize;
  ULONG ulHorzRes;
  ULONG ulVertRes;
  ULONG cBitsPixel;
  ULONG cPlanes;
  ULONG ulNumColors;
  ULONG flRaster;
  ULONG ulLogPixelsX;
  ULONG ulLogPixelsY;
  ULONG flTextCaps;
  ULONG ulDACRed;
  ULONG ulDACGreen;
  ULONG ulDACBlue;
  ULONG ulAspectX;
  ULONG ulAspectY;
  ULONG ulAspectXY;
  LONG xStyleStep;
  LONG yStyleStep;
  LONG denStyleStep;
  POINTL ptlPhysOffset;
  SIZEL szlPhysSize;
  ULONG ulNumPalReg;
  COLORINFO ciDevice;
  ULONG ulDevicePelsDPI;
  ULONG ulPrimaryOrder;
  ULONG ulHTPatternSize;
  ULONG ulHTOutputFormat;
  ULONG flHTFlags;
  ULONG ulVRefresh;
  ULONG ulBltAlignment;
  ULONG ulPanningHorzRes;
  ULONG ulPanningVertRes;
  ULONG xPanningAlignment;
  ULONG yPanningAlignment;
  ULONG cxHTPat;
  ULONG cyHTPat;
  BYTE* pHTPatA;
  BYTE* pHTPatB;
  BYTE* pHTPatC;
  ULONG flShadeBlend;
  ULONG ulPhysicalPixelCharacteristics;
  ULONG ulPhysicalPixelGamma;
};

// ---------------------------------------------------------------- DEVINFO

struct LOGFONTW {
  LONG lfHeight;
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  WCHAR lfFaceName[32];
};
static_assert(sizeof(LOGFONTW) == 92);

inline constexpr ULONG BMF_1BPP = 1;
inline constexpr ULONG BMF_4BPP = 2;
inline constexpr ULONG BMF_8BPP = 3;
inline constexpr ULONG BMF_16BPP = 4;
inline constexpr ULONG BMF_24BPP = 5;
inline constexpr ULONG BMF_32BPP = 6;
inline constexpr ULONG BMF_JPEG = 11;
inline constexpr ULONG BMF_PNG = 12;

inline constexpr FLONG GCAPS2_PNG = 0x00000008;

struct DEVINFO {
  FLONG flGraphicsCaps;
  LOGFONTW lfDefaultFont;
  LOGFONTW lfAnsiVarFont;
  LOGFONTW lfAnsiFixFont;
  ULONG cFonts;
  ULONG iDitherFormat;
  USHORT cxDither;
  USHORT cyDither;
  HPALETTE hpalDefault;
  FLONG flGraphicsCaps2;
};

// ---------------------------------------------------------------- SURFOBJ

inline constexpr USHORT STYPE_BITMAP = 0;
inline constexpr USHORT STYPE_DEVICE = 1;

inline constexpr FLONG BMF_TOPDOWN = 0x0001;
inline constexpr FLONG BMF_NOZEROINIT = 0x0002;

struct SURFOBJ {
  DHSURF dhsurf;
  HSURF hsurf;
  DHPDEV dhpdev;
  HDEV hdev;
  SIZEL sizlBitmap;
  ULONG cjBits;
  PVOID pvBits;
  PVOID pvScan0;
  LONG lDelta;
  ULONG iUniq;
  ULONG iBitmapFormat;
  USHORT iType;
  USHORT fjBitmap;
};

// Hooks for EngAssociateSurface.
inline constexpr FLONG HOOK_BITBLT = 0x00000001;
inline constexpr FLONG HOOK_STRETCHBLT = 0x00000002;
inline constexpr FLONG HOOK_PLGBLT = 0x00000004;
inline constexpr FLONG HOOK_TEXTOUT = 0x00000008;
inline constexpr FLONG HOOK_PAINT = 0x00000010;
inline constexpr FLONG HOOK_STROKEPATH = 0x00000020;
inline constexpr FLONG HOOK_FILLPATH = 0x00000040;
inline constexpr FLONG HOOK_STROKEANDFILLPATH = 0x00000080;
inline constexpr FLONG HOOK_LINETO = 0x00000100;
inline constexpr FLONG HOOK_COPYBITS = 0x00000400;
inline constexpr FLONG HOOK_STRETCHBLTROP = 0x00002000;
inline constexpr FLONG HOOK_TRANSPARENTBLT = 0x00008000;
inline constexpr FLONG HOOK_ALPHABLEND = 0x00010000;
inline constexpr FLONG HOOK_GRADIENTFILL = 0x00020000;

// Palettes.
inline constexpr ULONG PAL_INDEXED = 0x00000001;
inline constexpr ULONG PAL_BITFIELDS = 0x00000002;
inline constexpr ULONG PAL_RGB = 0x00000004;
inline constexpr ULONG PAL_BGR = 0x00000008;

// ------------------------------------------------- engine objects (drawing)
//
// Public parts of the engine objects that the drawing entries receive. The
// host gives each a private tail of its own.

using FLOATL = float;  // user-mode drivers see IEEE single precision

union FLOAT_LONG {
  FLOATL e;
  LONG l;
};

struct RECTFX {
  FIX xLeft;
  FIX yTop;
  FIX xRight;
  FIX yBottom;
};

// CLIPOBJ::iDComplexity
inline constexpr BYTE DC_TRIVIAL = 0;
inline constexpr BYTE DC_RECT = 1;
inline constexpr BYTE DC_COMPLEX = 3;
// CLIPOBJ::iFComplexity
inline constexpr BYTE FC_RECT = 1;
inline constexpr BYTE FC_RECT4 = 2;
inline constexpr BYTE FC_COMPLEX = 3;
// CLIPOBJ::iMode
inline constexpr BYTE TC_RECTANGLES = 0;

struct CLIPOBJ {
  ULONG iUniq;
  RECTL rclBounds;
  BYTE iDComplexity;
  BYTE iFComplexity;
  BYTE iMode;
  BYTE fjOptions;
};

// BRUSHOBJ::flColorType
inline constexpr FLONG BR_DEVICE_ICM = 0x01;
inline constexpr FLONG BR_HOST_ICM = 0x02;

struct BRUSHOBJ {
  ULONG iSolidColor;  // 0xFFFFFFFF for a brush that is not solid
  PVOID pvRbrush;
  FLONG flColorType;
};

struct XLATEOBJ {
  ULONG iUniq;
  FLONG flXlate;
  USHORT iSrcType;  // PAL_INDEXED, PAL_BITFIELDS, PAL_RGB or PAL_BGR
  USHORT iDstType;
  ULONG cEntries;
  ULONG* pulXlate;  // indexed sources: each entry in the destination's form
};

// XLATEOBJ::flXlate
inline constexpr FLONG XO_TRIVIAL = 0x00000001;  // colour words pass unchanged
inline constexpr FLONG XO_TABLE = 0x00000002;    // pulXlate holds the entries

// PATHOBJ::fl
inline constexpr FLONG PO_BEZIERS = 0x0001;
inline constexpr FLONG PO_ELLIPSE = 0x0002;
inline constexpr FLONG PO_ALL_INTEGERS = 0x0004;

// PATHDATA::flags
inline constexpr FLONG PD_BEGINSUBPATH = 0x0001;
inline constexpr FLONG PD_ENDSUBPATH = 0x0002;
inline constexpr FLONG PD_RESETSTYLE = 0x0004;
inline constexpr FLONG PD_CLOSEFIGURE = 0x0008;
inline constexpr FLONG PD_BEZIERS = 0x0010;

struct PATHOBJ {
  FLONG fl;
  ULONG cCurves;
};

// One record of a path's enumeration: `count` points of one kind (lines,
// or Bezier control triples) in 28.4 fixed point. A record that begins a
// subpath has its start point first.
struct PATHDATA {
  FLONG flags;
  ULONG count;
  POINTFIX* pptfx;
};

struct XFORMOBJ {
  ULONG ulReserved;
};

struct XFORML {
  FLOATL eM11;
  FLOATL eM12;
  FLOATL eM21;
  FLOATL eM22;
  FLOATL eDx;
  FLOATL eDy;
};

// XFORMOBJ_iGetXform results
inline constexpr ULONG GX_IDENTITY = 0;
inline constexpr ULONG GX_OFFSET = 1;
inline constexpr ULONG GX_SCALE = 2;
inline constexpr ULONG GX_GENERAL = 3;
inline constexpr ULONG DDI_ERROR = 0xFFFFFFFF;

// LINEATTRS::fl
inline constexpr FLONG LA_GEOMETRIC = 0x01;
inline constexpr FLONG LA_ALTERNATE = 0x02;
inline constexpr FLONG LA_STARTGAP = 0x04;
inline constexpr FLONG LA_STYLED = 0x08;

inline constexpr ULONG JOIN_ROUND = 0;
inline constexpr ULONG JOIN_BEVEL = 1;
inline constexpr ULONG JOIN_MITER = 2;
inline constexpr ULONG ENDCAP_ROUND = 0;
inline constexpr ULONG ENDCAP_SQUARE = 1;
inline constexpr ULONG ENDCAP_BUTT = 2;

// A geometric line's width is a float in world units; a cosmetic line's an
// integer in pixels. The style array is in world units for a geometric line,
// in style steps for a cosmetic one.
struct LINEATTRS {
  FLONG fl;
  ULONG iJoin;
  ULONG iEndCap;
  FLOAT_LONG elWidth;
  FLOATL eMiterLimit;
  ULONG cstyle;
  FLOAT_LONG* pstyle;
  FLOAT_LONG elStyleState;
};

// Fill options of DrvFillPath and DrvStrokeAndFillPath.
inline constexpr FLONG FP_ALTERNATEMODE = 1;
inline constexpr FLONG FP_WINDINGMODE = 2;

// Binary raster operations: the bytes of a MIX (low byte: foreground,
// second byte: background pixels of hatches and styled cosmetic lines).
inline constexpr ULONG R2_BLACK = 1;
inline constexpr ULONG R2_NOTMERGEPEN = 2;
inline constexpr ULONG R2_MASKNOTPEN = 3;
inline constexpr ULONG R2_NOTCOPYPEN = 4;
inline constexpr ULONG R2_MASKPENNOT = 5;
inline constexpr ULONG R2_NOT = 6;
inline constexpr ULONG R2_XORPEN = 7;
inline constexpr ULONG R2_NOTMASKPEN = 8;
inline constexpr ULONG R2_MASKPEN = 9;
inline constexpr ULONG R2_NOTXORPEN = 10;
inline constexpr ULONG R2_NOP = 11;
inline constexpr ULONG R2_MERGENOTPEN = 12;
inline constexpr ULONG R2_COPYPEN = 13;
inline constexpr ULONG R2_MERGEPENNOT = 14;
inline constexpr ULONG R2_MERGEPEN = 15;
inline constexpr ULONG R2_WHITE = 16;

// Ternary raster operations (low byte of a ROP4).
inline constexpr ULONG ROP3_BLACKNESS = 0x00;
inline constexpr ULONG ROP3_NOTPATCOPY = 0x0F;
inline constexpr ULONG ROP3_DSTINVERT = 0x55;
inline constexpr ULONG ROP3_PATINVERT = 0x5A;
inline constexpr ULONG ROP3_SRCCOPY = 0xCC;
inline constexpr ULONG ROP3_PATCOPY = 0xF0;
inline constexpr ULONG ROP3_WHITENESS = 0xFF;

struct COLORADJUSTMENT;

// ------------------------------------------------- engine objects (text)

using HGLYPH = ULONG;
using FWORD = SHORT;
using PTRDIFF = LONG;  // byte offset from the start of the structure
inline constexpr HGLYPH HGLYPH_INVALID = 0xFFFFFFFF;

// A realized font. flFontType bits: FO_TYPE_*, FO_SIM_*, FO_VERT_FACE.
struct FONTOBJ {
  ULONG iUniq;
  ULONG iFace;
  ULONG cxMax;  // widest advance in device pixels
  FLONG flFontType;
  ULONG_PTR iTTUniq;
  ULONG_PTR iFile;
  SIZEL sizLogResPpi;
  ULONG ulStyleSize;  // the size asked for in points, 0 if transformed
  PVOID pvConsumer;
  PVOID pvProducer;
};

inline constexpr FLONG FO_TYPE_RASTER = 0x1;
inline constexpr FLONG FO_TYPE_DEVICE = 0x2;
inline constexpr FLONG FO_TYPE_TRUETYPE = 0x4;
inline constexpr FLONG FO_TYPE_OPENTYPE = 0x8;
inline constexpr FLONG FO_POSTSCRIPT = 0x200000;  // a Type 1 face
inline constexpr FLONG FO_SIM_BOLD = 0x2000;
inline constexpr FLONG FO_SIM_ITALIC = 0x4000;
inline constexpr FLONG FO_VERT_FACE = 0x800000;

// DrvGetGlyphMode results.
inline constexpr ULONG FO_HGLYPHS = 0;
inline constexpr ULONG FO_GLYPHBITS = 1;
inline constexpr ULONG FO_PATHOBJ = 2;

struct PANOSE {
  BYTE bFamilyType;
  BYTE bSerifStyle;
  BYTE bWeight;
  BYTE bProportion;
  BYTE bContrast;
  BYTE bStrokeVariation;
  BYTE bArmStyle;
  BYTE bLetterform;
  BYTE bMidline;
  BYTE bXHeight;
};

// A face's metrics in its own units (y up). The names and the charset list
// follow the structure in the same block; dp* are their byte offsets from
// its start (names are zero-ended UTF-16, the charsets a byte list ended by
// DEFAULT_CHARSET).
struct IFIMETRICS {
  ULONG cjThis;
  ULONG cjIfiExtra;
  PTRDIFF dpwszFamilyName;
  PTRDIFF dpwszStyleName;
  PTRDIFF dpwszFaceName;
  PTRDIFF dpwszUniqueName;
  PTRDIFF dpFontSim;
  LONG lEmbedId;
  LONG lItalicAngle;
  LONG lCharBias;
  PTRDIFF dpCharSets;
  BYTE jWinCharSet;
  BYTE jWinPitchAndFamily;
  USHORT usWinWeight;
  ULONG flInfo;
  USHORT fsSelection;
  USHORT fsType;
  FWORD fwdUnitsPerEm;
  FWORD fwdLowestPPEm;
  FWORD fwdWinAscender;
  FWORD fwdWinDescender;
  FWORD fwdMacAscender;
  FWORD fwdMacDescender;
  FWORD fwdMacLineGap;
  FWORD fwdTypoAscender;
  FWORD fwdTypoDescender;
  FWORD fwdTypoLineGap;
  FWORD fwdAveCharWidth;
  FWORD fwdMaxCharInc;
  FWORD fwdCapHeight;
  FWORD fwdXHeight;
  FWORD fwdSubscriptXSize;
  FWORD fwdSubscriptYSize;
  FWORD fwdSubscriptXOffset;
  FWORD fwdSubscriptYOffset;
  FWORD fwdSuperscriptXSize;
  FWORD fwdSuperscriptYSize;
  FWORD fwdSuperscriptXOffset;
  FWORD fwdSuperscriptYOffset;
  FWORD fwdUnderscoreSize;
  FWORD fwdUnderscorePosition;
  FWORD fwdStrikeoutSize;
  FWORD fwdStrikeoutPosition;
  BYTE chFirstChar;
  BYTE chLastChar;
  BYTE chDefaultChar;
  BYTE chBreakChar;
  WCHAR wcFirstChar;
  WCHAR wcLastChar;
  WCHAR wcDefaultChar;
  WCHAR wcBreakChar;
  POINTL ptlBaseline;
  POINTL ptlAspect;
  POINTL ptlCaret;
  RECTL rclFontBox;
  BYTE achVendId[4];
  ULONG cKerningPairs;
  ULONG ulPanoseCulture;
  PANOSE panose;
  PVOID Align;
};

// fsSelection bits.
inline constexpr USHORT FM_SEL_ITALIC = 0x0001;
inline constexpr USHORT FM_SEL_BOLD = 0x0020;
// fsType: embedding that the face's licence restricts.
inline constexpr USHORT FM_TYPE_LICENSED = 0x0002;

// A run of consecutive UTF-16 values and their glyph handles. A run with a
// null phg has handles equal to the values themselves.
struct WCRUN {
  WCHAR wcLow;
  USHORT cGlyphs;
  HGLYPH* phg;
};

// The characters a face supports. The phg arrays lie inside the block of
// cjThis bytes that starts with this structure.
struct FD_GLYPHSET {
  ULONG cjThis;
  FLONG flAccel;
  ULONG cGlyphsSupported;
  ULONG cRuns;
  WCRUN awcrun[1];
};

struct GLYPHDEF;

struct GLYPHPOS {
  HGLYPH hg;
  GLYPHDEF* pgdf;
  POINTL ptl;  // the glyph's origin on the baseline, device pixels
};

// A run of glyphs. pwszOrg holds the text the glyphs came from, one UTF-16
// value per glyph, or is null.
struct STROBJ {
  ULONG cGlyphs;
  FLONG flAccel;
  ULONG ulCharInc;
  RECTL rclBkGround;
  GLYPHPOS* pgp;
  LPWSTR pwszOrg;
};

// STROBJ flAccel bits.
inline constexpr FLONG SO_FLAG_DEFAULT_PLACEMENT = 0x00000001;
inline constexpr FLONG SO_HORIZONTAL = 0x00000002;
inline constexpr FLONG SO_VERTICAL = 0x00000004;
inline constexpr FLONG SO_REVERSED = 0x00000008;
inline constexpr FLONG SO_ZERO_BEARINGS = 0x00000010;
inline constexpr FLONG SO_CHAR_INC_EQUAL_BM_BASE = 0x00000020;
inline constexpr FLONG SO_MAXEXT_EQUAL_BM_SIDE = 0x00000040;
inline constexpr FLONG SO_GLYPHINDEX_TEXTOUT = 0x00000100;

// Modes of stretching (the iMode of DrvStretchBlt), as SetStretchBltMode.
inline constexpr ULONG BLACKONWHITE = 1;
inline constexpr ULONG WHITEONBLACK = 2;
inline constexpr ULONG COLORONCOLOR = 3;
inline constexpr ULONG HALFTONE = 4;

// BLENDFUNCTION: BlendOp AC_SRC_OVER; AlphaFormat 0 (constant alpha only)
// or AC_SRC_ALPHA (the source's pixels carry premultiplied alpha).
inline constexpr BYTE AC_SRC_OVER = 0x00;
inline constexpr BYTE AC_SRC_ALPHA = 0x01;

struct BLENDFUNCTION {
  BYTE BlendOp;
  BYTE BlendFlags;
  BYTE SourceConstantAlpha;
  BYTE AlphaFormat;
};

struct BLENDOBJ {
  BLENDFUNCTION BlendFunction;
};

// A gradient's vertex: device position and 16-bit colour components.
struct TRIVERTEX {
  LONG x;
  LONG y;
  USHORT Red;
  USHORT Green;
  USHORT Blue;
  USHORT Alpha;
};
static_assert(sizeof(TRIVERTEX) == 16);

struct GRADIENT_RECT {
  ULONG UpperLeft;
  ULONG LowerRight;
};

struct GRADIENT_TRIANGLE {
  ULONG Vertex1;
  ULONG Vertex2;
  ULONG Vertex3;
};

inline constexpr ULONG GRADIENT_FILL_RECT_H = 0;
inline constexpr ULONG GRADIENT_FILL_RECT_V = 1;
inline constexpr ULONG GRADIENT_FILL_TRIANGLE = 2;

// ---------------------------------------------------- the driver's table

using PFN = void (*)();

struct DRVFN {
  ULONG iFunc;
  PFN pfn;
};

struct DRVENABLEDATA {
  ULONG iDriverVersion;
  ULONG c;
  DRVFN* pdrvfn;
};
static_assert(sizeof(DRVENABLEDATA) == 16);

inline constexpr ULONG DDI_DRIVER_VERSION_NT5_01 = 0x00030000;

// Indices of the driver functions in DRVFN::iFunc.
inline constexpr ULONG INDEX_DrvEnablePDEV = 0;
inline constexpr ULONG INDEX_DrvCompletePDEV = 1;
inline constexpr ULONG INDEX_DrvDisablePDEV = 2;
inline constexpr ULONG INDEX_DrvEnableSurface = 3;
inline constexpr ULONG INDEX_DrvDisableSurface = 4;
inline constexpr ULONG INDEX_DrvResetPDEV = 7;
inline constexpr ULONG INDEX_DrvDisableDriver = 8;
inline constexpr ULONG INDEX_DrvRealizeBrush = 12;
inline constexpr ULONG INDEX_DrvStrokePath = 14;
inline constexpr ULONG INDEX_DrvFillPath = 15;
inline constexpr ULONG INDEX_DrvStrokeAndFillPath = 16;
inline constexpr ULONG INDEX_DrvBitBlt = 18;
inline constexpr ULONG INDEX_DrvCopyBits = 19;
inline constexpr ULONG INDEX_DrvStretchBlt = 20;
inline constexpr ULONG INDEX_DrvTextOut = 23;
inline constexpr ULONG INDEX_DrvEscape = 24;
inline constexpr ULONG INDEX_DrvLineTo = 31;
inline constexpr ULONG INDEX_DrvSendPage = 32;
inline constexpr ULONG INDEX_DrvStartPage = 33;
inline constexpr ULONG INDEX_DrvEndDoc = 34;
inline constexpr ULONG INDEX_DrvStartDoc = 35;
inline constexpr ULONG INDEX_DrvGetGlyphMode = 37;
inline constexpr ULONG INDEX_DrvGradientFill = 68;
inline constexpr ULONG INDEX_DrvStretchBltROP = 69;
inline constexpr ULONG INDEX_DrvPlgBlt = 70;
inline constexpr ULONG INDEX_DrvAlphaBlend = 71;
inline constexpr ULONG INDEX_DrvTransparentBlt = 74;
inline constexpr ULONG INDEX_DrvQueryDeviceSupport = 76;

inline constexpr DWORD DRVQUERY_USERMODE = 1;

// Signatures of the driver functions, as the engine calls them.
using PFN_DrvEnableDriver = BOOL (*)(ULONG, ULONG, DRVENABLEDATA*);
using PFN_DrvQueryDriverInfo = BOOL (*)(DWORD, PVOID, DWORD, DWORD*);
using PFN_DrvEnablePDEV = DHPDEV (*)(DEVMODEW*, LPWSTR, ULONG, HSURF*, ULONG,
                                     ULONG*, ULONG, DEVINFO*, HDEV, LPWSTR,
                                     HANDLE);
using PFN_DrvCompletePDEV = void (*)(DHPDEV, HDEV);
using PFN_DrvResetPDEV = BOOL (*)(DHPDEV, DHPDEV);
using PFN_DrvDisablePDEV = void (*)(DHPDEV);
using PFN_DrvEnableSurface = HSURF (*)(DHPDEV);
using PFN_DrvDisableSurface = void (*)(DHPDEV);
using PFN_DrvDisableDriver = void (*)();
using PFN_DrvEscape = ULONG (*)(SURFOBJ*, ULONG, ULONG, PVOID, ULONG, PVOID);
using PFN_DrvStartDoc = BOOL (*)(SURFOBJ*, LPWSTR, DWORD);
using PFN_DrvEndDoc = BOOL (*)(SURFOBJ*, FLONG);
using PFN_DrvStartPage = BOOL (*)(SURFOBJ*);
using PFN_DrvSendPage = BOOL (*)(SURFOBJ*);
using PFN_DrvLineTo = BOOL (*)(SURFOBJ*, CLIPOBJ*, BRUSHOBJ*, LONG, LONG,
                               LONG, LONG, RECTL*, MIX);
using PFN_DrvStrokePath = BOOL (*)(SURFOBJ*, PATHOBJ*, CLIPOBJ*, XFORMOBJ*,
                                   BRUSHOBJ*, POINTL*, LINEATTRS*, MIX);
using PFN_DrvFillPath = BOOL (*)(SURFOBJ*, PATHOBJ*, CLIPOBJ*, BRUSHOBJ*,
                                 POINTL*, MIX, FLONG);
using PFN_DrvStrokeAndFillPath = BOOL (*)(SURFOBJ*, PATHOBJ*, CLIPOBJ*,
                                          XFORMOBJ*, BRUSHOBJ*, LINEATTRS*,
                                          BRUSHOBJ*, POINTL*, MIX, FLONG);
using PFN_DrvCopyBits = BOOL (*)(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*,
                                 RECTL*, POINTL*);
using PFN_DrvRealizeBrush = BOOL (*)(BRUSHOBJ*, SURFOBJ*, SURFOBJ*, SURFOBJ*,
                                     XLATEOBJ*, ULONG);
using PFN_DrvPlgBlt = BOOL (*)(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*,
                               XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                               POINTFIX*, RECTL*, POINTL*, ULONG);
using PFN_DrvBitBlt = BOOL (*)(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*,
                               XLATEOBJ*, RECTL*, POINTL*, POINTL*, BRUSHOBJ*,
                               POINTL*, ROP4);
using PFN_DrvStretchBlt = BOOL (*)(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*,
                                   XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                                   RECTL*, RECTL*, POINTL*, ULONG);
using PFN_DrvStretchBltROP = BOOL (*)(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*,
                                      XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                                      RECTL*, RECTL*, POINTL*, ULONG,
                                      BRUSHOBJ*, DWORD);
using PFN_DrvAlphaBlend = BOOL (*)(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*,
                                   RECTL*, RECTL*, BLENDOBJ*);
using PFN_DrvGradientFill = BOOL (*)(SURFOBJ*, CLIPOBJ*, XLATEOBJ*,
                                     TRIVERTEX*, ULONG, PVOID, ULONG, RECTL*,
                                     POINTL*, ULONG);
using PFN_DrvTransparentBlt = BOOL (*)(SURFOBJ*, SURFOBJ*, CLIPOBJ*,
                                       XLATEOBJ*, RECTL*, RECTL*, ULONG,
                                       ULONG);
using PFN_DrvGetGlyphMode = ULONG (*)(DHPDEV, FONTOBJ*);
using PFN_DrvTextOut = BOOL (*)(SURFOBJ*, STROBJ*, FONTOBJ*, CLIPOBJ*, RECTL*,
                                RECTL*, BRUSHOBJ*, BRUSHOBJ*, POINTL*, MIX);
using PFN_DrvQueryDeviceSupport = BOOL (*)(SURFOBJ*, XLATEOBJ*, XFORMOBJ*,
                                           ULONG, ULONG, PVOID, ULONG, PVOID);

// ---------------------------------------------------------- Eng calls

extern "C" {
HBITMAP APIENTRY EngCreateBitmap(SIZEL sizl, LONG lWidth, ULONG iFormat,
                                 FLONG fl, PVOID pvBits);
HSURF APIENTRY EngCreateDeviceSurface(DHSURF dhsurf, SIZEL sizl,
                                      ULONG iFormatCompat);
BOOL APIENTRY EngAssociateSurface(HSURF hsurf, HDEV hdev, FLONG flHooks);
SURFOBJ* APIENTRY EngLockSurface(HSURF hsurf);
void APIENTRY EngUnlockSurface(SURFOBJ* pso);
BOOL APIENTRY EngDeleteSurface(HSURF hsurf);
HPALETTE APIENTRY EngCreatePalette(ULONG iMode, ULONG cColors,
                                   ULONG* pulColors, FLONG flRed,
                                   FLONG flGreen, FLONG flBlue);
BOOL APIENTRY EngDeletePalette(HPALETTE hpal);
PVOID APIENTRY BRUSHOBJ_pvAllocRbrush(BRUSHOBJ* pbo, ULONG cj);
ULONG APIENTRY BRUSHOBJ_ulGetBrushColor(BRUSHOBJ* pbo);

void APIENTRY PATHOBJ_vEnumStart(PATHOBJ* ppo);
// Fills `ppd` with the next record; FALSE when it was the last one.
BOOL APIENTRY PATHOBJ_bEnum(PATHOBJ* ppo, PATHDATA* ppd);
void APIENTRY PATHOBJ_vGetBounds(PATHOBJ* ppo, RECTFX* prectfx);
void APIENTRY EngDeletePath(PATHOBJ* ppo);

// The clip region's outline as a new path; release with EngDeletePath.
PATHOBJ* APIENTRY CLIPOBJ_ppoGetPath(CLIPOBJ* pco);

ULONG APIENTRY XFORMOBJ_iGetXform(XFORMOBJ* pxo, XFORML* pxform);

BOOL APIENTRY EngStrokePath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo, BRUSHOBJ* pbo,
                            POINTL* pptlBrushOrg, LINEATTRS* plineattrs, MIX mix);
BOOL APIENTRY EngFillPath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, BRUSHOBJ* pbo, POINTL* pptlBrushOrg,
                          MIX mix, FLONG flOptions);
BOOL APIENTRY EngStrokeAndFillPath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo,
                                   BRUSHOBJ* pboStroke, LINEATTRS* plineattrs, BRUSHOBJ* pboFill,
                                   POINTL* pptlBrushOrg, MIX mixFill, FLONG flOptions);
BOOL APIENTRY EngLineTo(SURFOBJ* pso, CLIPOBJ* pco, BRUSHOBJ* pbo, LONG x1, LONG y1, LONG x2, LONG y2,
                        RECTL* prclBounds, MIX mix);
BOOL APIENTRY EngBitBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        RECTL* prclTrg, POINTL* pptlSrc, POINTL* pptlMask, BRUSHOBJ* pbo,
                        POINTL* pptlBrush, ROP4 rop4);
BOOL APIENTRY EngCopyBits(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                          POINTL* pptlSrc);
BOOL APIENTRY EngStretchBlt(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                            COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest, RECTL* prclSrc,
                            POINTL* pptlMask, ULONG iMode);
BOOL APIENTRY EngStretchBltROP(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco,
                               XLATEOBJ* pxlo, COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest,
                               RECTL* prclSrc, POINTL* pptlMask, ULONG iMode, BRUSHOBJ* pbo, DWORD rop4);
BOOL APIENTRY EngPlgBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMsk, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        COLORADJUSTMENT* pca, POINTL* pptlBrushOrg, POINTFIX* pptfx, RECTL* prcl,
                        POINTL* pptl, ULONG iMode);
BOOL APIENTRY EngAlphaBlend(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                            RECTL* prclSrc, BLENDOBJ* pBlendObj);
BOOL APIENTRY EngTransparentBlt(SURFOBJ* psoDst, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDst,
                                RECTL* prclSrc, ULONG iTransColor, ULONG ulReserved);
BOOL APIENTRY EngGradientFill(SURFOBJ* psoDest, CLIPOBJ* pco, XLATEOBJ* pxlo, TRIVERTEX* pVertex,
                              ULONG nVertex, PVOID pMesh, ULONG nMesh, RECTL* prclExtents, POINTL* pptlDitherOrg,
                              ULONG ulMode);

// One source colour word (the pixel's bits, read as a little-endian word)
// in the destination's form.
ULONG APIENTRY XLATEOBJ_iXlate(XLATEOBJ* pxlo, ULONG iColor);

// Text. The pointers a FONTOBJ gives stay valid while the font lives.
IFIMETRICS* APIENTRY FONTOBJ_pifi(FONTOBJ* pfo);
FD_GLYPHSET* APIENTRY FONTOBJ_pfdg(FONTOBJ* pfo);
// The whole font file the face comes from, or null (not a TrueType face).
PVOID APIENTRY FONTOBJ_pvTrueTypeFontFile(FONTOBJ* pfo, ULONG* pcjFile);
// Notional (font units, y down) to device space.
XFORMOBJ* APIENTRY FONTOBJ_pxoGetXform(FONTOBJ* pfo);
void APIENTRY STROBJ_vEnumStart(STROBJ* pstro);
// The next batch of glyph positions; TRUE while more batches follow.
BOOL APIENTRY STROBJ_bEnumPositionsOnly(STROBJ* pstro, ULONG* pc, GLYPHPOS** ppgpos);
BOOL APIENTRY EngTextOut(SURFOBJ* pso, STROBJ* pstro, FONTOBJ* pfo, CLIPOBJ* pco, RECTL* prclExtra,
                         RECTL* prclOpaque, BRUSHOBJ* pboFore, BRUSHOBJ* pboOpaque, POINTL* pptlOrg, MIX mix);
}
