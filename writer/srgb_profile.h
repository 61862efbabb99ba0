// The sRGB IEC61966-2.1 display profile (3,144 bytes: CMM "Lino", class
// "mntr", RGB data, XYZ connection space), the colour space of every page.
#pragma once

#include <span>

std::span<const unsigned char> SrgbProfile();
