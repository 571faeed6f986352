// The numeric vocabulary shared by every geometric class: the constant table
// Math<T> for float and double, degree/radian conversion, angle wrapping,
// degree-minute-second conversion, integer percentages and the test for
// non-finite numbers. Angles are radians inside the library; degrees appear
// only at its edges.
// Threading: stateless; every function may be called from any thread.
#ifndef CORELIB_MATHS_MATHS_H
#define CORELIB_MATHS_MATHS_H

#include <cmath>

namespace Core
{
namespace Maths
{

// Constants for float and double. Each value is a data object defined once in
// the library, so every user sees the same bits. The float column is the
// nearest single-precision value of the double one, except ZERO_TOLERANCE
// (1e-05 for float against 1e-08 for double) and RAD_TO_DEG (57.295776f, which
// is 180.0f / 3.1415927f). The eccentricities are the rounded published WGS-84
// figures, not values derived from WGS_A and WGS_B.
template <class T>
class Math
{
public:
    static const T EPSILON;        // machine epsilon
    static const T ZERO_TOLERANCE; // a magnitude below this is taken as zero
    static const T MAX_REAL;       // largest finite value
    // pi, 2 pi and pi / 2.
    static const T PI;
    static const T TWO_PI;
    static const T HALF_PI;
    static const T INV_PI;         // 1 / pi
    static const T INV_TWO_PI;     // 1 / (2 pi)
    static const T DEG_TO_RAD;     // pi / 180
    static const T RAD_TO_DEG;     // 180 / pi
    static const T WGS_ES2;        // WGS-84 second eccentricity squared
    static const T WGS_E2;         // WGS-84 first eccentricity squared
    static const T WGS_B;          // WGS-84 semi-minor axis, metres
    static const T WGS_A;          // WGS-84 semi-major axis, metres
    static const T WGS_INV_FLAT;   // WGS-84 inverse flattening
    static const T INFINITE_VALUE; // +infinity: a minimum or distance not yet found

    Math() = delete;
};

// Declarations of the library's definitions, so no user instantiates its own.
#define CORELIB_MATH_DECLARE_CONSTANTS(T)                                                                    \
    template <> const T Math<T>::EPSILON;                                                                    \
    template <> const T Math<T>::ZERO_TOLERANCE;                                                             \
    template <> const T Math<T>::MAX_REAL;                                                                   \
    template <> const T Math<T>::PI;                                                                         \
    template <> const T Math<T>::TWO_PI;                                                                     \
    template <> const T Math<T>::HALF_PI;                                                                    \
    template <> const T Math<T>::INV_PI;                                                                     \
    template <> const T Math<T>::INV_TWO_PI;                                                                 \
    template <> const T Math<T>::DEG_TO_RAD;                                                                 \
    template <> const T Math<T>::RAD_TO_DEG;                                                                 \
    template <> const T Math<T>::WGS_ES2;                                                                    \
    template <> const T Math<T>::WGS_E2;                                                                     \
    template <> const T Math<T>::WGS_B;                                                                      \
    template <> const T Math<T>::WGS_A;                                                                      \
    template <> const T Math<T>::WGS_INV_FLAT;                                                               \
    template <> const T Math<T>::INFINITE_VALUE;
CORELIB_MATH_DECLARE_CONSTANTS(float)
CORELIB_MATH_DECLARE_CONSTANTS(double)
#undef CORELIB_MATH_DECLARE_CONSTANTS

// degrees * DEG_TO_RAD (a multiplication by the stored constant, never a division by 180).
template <class T>
T Deg2Rad(const T& degrees)
{
    return degrees * Math<T>::DEG_TO_RAD;
}

// radians * RAD_TO_DEG.
template <class T>
T Rad2Deg(const T& radians)
{
    return radians * Math<T>::RAD_TO_DEG;
}

// Same as Deg2Rad.
template <class T>
T Radians(const T& degrees)
{
    return Deg2Rad(degrees);
}

// Same as Rad2Deg.
template <class T>
T Degrees(const T& radians)
{
    return Rad2Deg(radians);
}

// True when the value is NaN or plus or minus infinity; false for every finite
// value, subnormals included.
bool IsAbnormal(const double& value);

// The angle wrapped into [-pi, pi]. Both ends are kept: pi stays pi and -pi
// stays -pi (so 3 pi gives pi and -3 pi gives -pi). NaN and infinities give 0.
template <class T>
T ClampAngle(T angle)
{
    if (IsAbnormal(angle))
        return 0;
    // fmod keeps the sign of the input, so r lies strictly inside (-2 pi, 2 pi).
    const T r = std::fmod(angle, Math<T>::TWO_PI);
    if (r > Math<T>::PI)
        return r - Math<T>::TWO_PI;
    if (r < -Math<T>::PI)
        return r + Math<T>::TWO_PI;
    return r;
}

// (degrees + minutes/60 + seconds/3600) * sign. The sign is a separate factor
// (normally +1 or -1); the parts are expected non-negative and a negative
// degree part is not corrected.
double DMSToDecimalDegrees(int degrees, int minutes, double seconds, int sign);

// Splits a decimal angle into whole degrees, whole minutes, seconds with their
// full fraction, and a sign of +1 or -1 (the parts are of the magnitude).
// Seconds within 1e-08 of 60 carry into the minutes, and 60 minutes into the
// degrees; nothing else is rounded.
void DecimalDegreesToDMS(double value, int& degrees, int& minutes, double& seconds, int& sign);

// (part * 100) / whole in 32-bit integer arithmetic, truncated toward zero and
// not clamped (7 of 5 is 140, -1 of 3 is -33); 100 when whole <= 0.
int Percent(int part, int whole);

} // namespace Maths
} // namespace Core

#endif
