#include "Maths/Maths.h"

#include <limits>

namespace Core
{
namespace Maths
{

template <> const double Math<double>::EPSILON = 2.220446049250313e-16;
template <> const double Math<double>::ZERO_TOLERANCE = 1e-08;
template <> const double Math<double>::MAX_REAL = 1.7976931348623157e+308;
template <> const double Math<double>::PI = 3.141592653589793;
template <> const double Math<double>::TWO_PI = 6.283185307179586;
template <> const double Math<double>::HALF_PI = 1.5707963267948966;
template <> const double Math<double>::INV_PI = 0.3183098861837907;
template <> const double Math<double>::INV_TWO_PI = 0.15915494309189535;
template <> const double Math<double>::DEG_TO_RAD = 0.017453292519943295;
template <> const double Math<double>::RAD_TO_DEG = 57.29577951308232;
template <> const double Math<double>::WGS_ES2 = 0.00673949674227;
template <> const double Math<double>::WGS_E2 = 0.00669437999013;
template <> const double Math<double>::WGS_B = 6356752.3142;
template <> const double Math<double>::WGS_A = 6378137.0;
template <> const double Math<double>::WGS_INV_FLAT = 298.257223563;
template <> const double Math<double>::INFINITE_VALUE = std::numeric_limits<double>::infinity();

template <> const float Math<float>::EPSILON = 1.1920928955078125e-07f;
// Larger than the float epsilon would suggest on purpose: float geometry needs the slack.
template <> const float Math<float>::ZERO_TOLERANCE = 1e-05f;
template <> const float Math<float>::MAX_REAL = 3.4028234663852886e+38f;
template <> const float Math<float>::PI = 3.1415927f;
template <> const float Math<float>::TWO_PI = 6.2831855f;
template <> const float Math<float>::HALF_PI = 1.5707964f;
template <> const float Math<float>::INV_PI = 0.31830987f;
template <> const float Math<float>::INV_TWO_PI = 0.15915494f;
template <> const float Math<float>::DEG_TO_RAD = 0.017453292f;
// 180.0f / 3.1415927f, one unit in the last place below the nearest float to 180 / pi.
template <> const float Math<float>::RAD_TO_DEG = 57.295776f;
template <> const float Math<float>::WGS_ES2 = 0.0067394967f;
template <> const float Math<float>::WGS_E2 = 0.0066943802f;
template <> const float Math<float>::WGS_B = 6356752.5f;
template <> const float Math<float>::WGS_A = 6378137.0f;
template <> const float Math<float>::WGS_INV_FLAT = 298.25723f;
template <> const float Math<float>::INFINITE_VALUE = std::numeric_limits<float>::infinity();

bool IsAbnormal(const double& value)
{
    // NaN is the one value that differs from itself.
    return value != value || value == INFINITY || value == -INFINITY;
}

double DMSToDecimalDegrees(int degrees, int minutes, double seconds, int sign)
{
    return (degrees + minutes / 60.0 + seconds / 60.0 / 60.0) * sign;
}

void DecimalDegreesToDMS(double value, int& degrees, int& minutes, double& seconds, int& sign)
{
    sign = 1;
    double x = value;
    if (value < 0)
    {
        sign = -1;
        x = -value;
    }
    degrees = static_cast<int>(std::floor(x));
    const double f = std::fabs(x - degrees) * 60.0;
    minutes = static_cast<int>(std::floor(f));
    seconds = (f - minutes) * 60.0;

    // Only a value that is 60 seconds up to representation error carries; a
    // genuine 59.99999999 seconds keeps its fraction.
    if (seconds == 60.0 || std::fabs(60.0 - seconds) < 1e-08)
    {
        seconds = 0.0;
        ++minutes;
        if (minutes == 60)
        {
            minutes = 0;
            ++degrees;
        }
    }
}

int Percent(int part, int whole)
{
    if (whole <= 0)
        return 100;
    // The product wraps at 32 bits as it does on the device, without undefined overflow.
    const int scaled = static_cast<int>(static_cast<unsigned int>(part) * 100u);
    return scaled / whole;
}

} // namespace Maths
} // namespace Core
