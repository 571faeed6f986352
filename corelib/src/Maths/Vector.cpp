#include "Maths/Vector.h"

namespace Core
{
namespace Maths
{

template <class T>
Vector3<T> operator*(const Vector3<T>& v, const Matrix3<T>& m)
{
    return Vector3<T>(v.x * m(0, 0) + v.y * m(1, 0) + v.z * m(2, 0), v.x * m(0, 1) + v.y * m(1, 1) + v.z * m(2, 1),
                      v.x * m(0, 2) + v.y * m(1, 2) + v.z * m(2, 2));
}

template Vector3<float> operator*(const Vector3<float>&, const Matrix3<float>&);
template Vector3<double> operator*(const Vector3<double>&, const Matrix3<double>&);

} // namespace Maths
} // namespace Core
