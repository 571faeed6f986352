// Value types of the geometry code: 2-D and 3-D vectors and row-major 3x3 and
// 4x4 matrices. All are plain aggregates of T with no invariants; a vector is
// a point or a direction as the caller means it. Headings in the plane are
// measured from +x toward +y, in radians.
// Threading: plain values; one object belongs to one thread at a time.
#ifndef CORELIB_MATHS_VECTOR_H
#define CORELIB_MATHS_VECTOR_H

#include <cmath>

namespace Core
{
namespace Maths
{

// A point or direction of the local plane: x then y.
template <class T>
struct Vector2
{
    // Number of components.
    static constexpr int DIMENSION = 2;

    // The components.
    T x;
    T y;

    Vector2() : x(0), y(0) {}
    // The vector (x_, y_).
    Vector2(T x_, T y_) : x(x_), y(y_) {}

    // Component i (0 is x, 1 is y). Requires: 0 <= i < 2.
    T& operator[](int i) { return i == 0 ? x : y; }
    const T& operator[](int i) const { return i == 0 ? x : y; }

    // Componentwise sum and difference, negation, and product and quotient with a scalar.
    Vector2 operator+(const Vector2& v) const { return Vector2(x + v.x, y + v.y); }
    Vector2 operator-(const Vector2& v) const { return Vector2(x - v.x, y - v.y); }
    Vector2 operator-() const { return Vector2(-x, -y); }
    Vector2 operator*(T s) const { return Vector2(x * s, y * s); }
    Vector2 operator/(T s) const { return Vector2(x / s, y / s); }
    // A friend rather than a template, so an int scalar converts as in v * 2.
    friend Vector2 operator*(T s, const Vector2& v) { return v * s; }
    // In-place forms of the operators above; == and != compare the components exactly.
    Vector2& operator+=(const Vector2& v) { x += v.x; y += v.y; return *this; }
    Vector2& operator-=(const Vector2& v) { x -= v.x; y -= v.y; return *this; }
    Vector2& operator*=(T s) { x *= s; y *= s; return *this; }
    Vector2& operator/=(T s) { x /= s; y /= s; return *this; }
    bool operator==(const Vector2& v) const { return x == v.x && y == v.y; }
    bool operator!=(const Vector2& v) const { return !(*this == v); }

    // The dot product with v.
    T Dot(const Vector2& v) const { return x * v.x + y * v.y; }
    // The dot product with itself: the length squared, without a square root.
    T SquaredLength() const { return Dot(*this); }
    // The Euclidean length.
    T Length() const { return std::sqrt(SquaredLength()); }
    // This vector divided by its length. A zero vector gives NaN components:
    // guard at the call site where one can occur.
    Vector2 Normalised() const { return *this / Length(); }
};

// A point or direction in space: x, y, then the height z.
template <class T>
struct Vector3
{
    // Number of components.
    static constexpr int DIMENSION = 3;

    // The components.
    T x;
    T y;
    T z;

    Vector3() : x(0), y(0), z(0) {}
    // The vector (x_, y_, z_).
    Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    // Component i (0 is x, 1 is y, 2 is z). Requires: 0 <= i < 3.
    T& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
    const T& operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    // Componentwise sum and difference, negation, product and quotient with a scalar
    // (on either side), their in-place forms, and exact comparison of the components.
    Vector3 operator+(const Vector3& v) const { return Vector3(x + v.x, y + v.y, z + v.z); }
    Vector3 operator-(const Vector3& v) const { return Vector3(x - v.x, y - v.y, z - v.z); }
    Vector3 operator-() const { return Vector3(-x, -y, -z); }
    Vector3 operator*(T s) const { return Vector3(x * s, y * s, z * s); }
    Vector3 operator/(T s) const { return Vector3(x / s, y / s, z / s); }
    friend Vector3 operator*(T s, const Vector3& v) { return v * s; }
    Vector3& operator+=(const Vector3& v) { x += v.x; y += v.y; z += v.z; return *this; }
    Vector3& operator-=(const Vector3& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
    Vector3& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
    Vector3& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
    bool operator==(const Vector3& v) const { return x == v.x && y == v.y && z == v.z; }
    bool operator!=(const Vector3& v) const { return !(*this == v); }

    // The dot product with v.
    T Dot(const Vector3& v) const { return x * v.x + y * v.y + z * v.z; }
    // Right-handed cross product this x v.
    Vector3 Cross(const Vector3& v) const
    {
        return Vector3(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
    }
    // The dot product with itself: the length squared, without a square root.
    T SquaredLength() const { return Dot(*this); }
    // The Euclidean length.
    T Length() const { return std::sqrt(SquaredLength()); }
    // This vector divided by its length; a zero vector gives NaN components.
    Vector3 Normalised() const { return *this / Length(); }
};

// A 3x3 matrix: exactly nine T, row-major (element (r, c) at r*3 + c).
// Default construction gives the identity.
template <class T>
struct Matrix3
{
    // The elements, row by row.
    T m[9];

    Matrix3() : m{1, 0, 0, 0, 1, 0, 0, 0, 1} {}
    // The nine elements row by row.
    Matrix3(T m00, T m01, T m02, T m10, T m11, T m12, T m20, T m21, T m22)
        : m{m00, m01, m02, m10, m11, m12, m20, m21, m22}
    {
    }

    // The matrix of zeros.
    static Matrix3 Zero() { return Matrix3(0, 0, 0, 0, 0, 0, 0, 0, 0); }

    // Element (row r, column c). Requires: 0 <= r, c < 3.
    T& operator()(int r, int c) { return m[r * 3 + c]; }
    const T& operator()(int r, int c) const { return m[r * 3 + c]; }

    // The matrix product this * b.
    Matrix3 operator*(const Matrix3& b) const
    {
        Matrix3 p = Zero();
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                for (int k = 0; k < 3; ++k)
                    p(r, c) += (*this)(r, k) * b(k, c);
        return p;
    }

    // This matrix times the column vector v.
    Vector3<T> operator*(const Vector3<T>& v) const
    {
        return Vector3<T>(m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
                          m[6] * v.x + m[7] * v.y + m[8] * v.z);
    }

    // The transpose: element (r, c) is this matrix's (c, r).
    Matrix3 Transposed() const { return Matrix3(m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]); }

    // Exact comparison of all nine elements.
    bool operator==(const Matrix3& b) const
    {
        for (int i = 0; i < 9; ++i)
            if (m[i] != b.m[i])
                return false;
        return true;
    }
    // The negation of ==.
    bool operator!=(const Matrix3& b) const { return !(*this == b); }
};

// A 4x4 matrix: exactly sixteen T, row-major (element (r, c) at r*4 + c). As a
// homogeneous affine matrix it keeps the translation in the last column
// (elements 3, 7, 11) and 0, 0, 0, 1 in the last row.
// Default construction gives the identity.
template <class T>
struct Matrix4
{
    // The elements, row by row.
    T m[16];

    Matrix4() : m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}

    // The matrix of zeros.
    static Matrix4 Zero()
    {
        Matrix4 z;
        for (T& e : z.m)
            e = 0;
        return z;
    }

    // Element (row r, column c). Requires: 0 <= r, c < 4.
    T& operator()(int r, int c) { return m[r * 4 + c]; }
    const T& operator()(int r, int c) const { return m[r * 4 + c]; }

    // The full matrix product this * b, row by column.
    Matrix4 operator*(const Matrix4& b) const
    {
        Matrix4 p = Zero();
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                for (int k = 0; k < 4; ++k)
                    p(r, c) += (*this)(r, k) * b(k, c);
        return p;
    }

    // The point v as a column (v, 1) through this affine matrix, without the
    // division by the fourth coordinate.
    Vector3<T> TransformPoint(const Vector3<T>& v) const
    {
        return Vector3<T>(m[0] * v.x + m[1] * v.y + m[2] * v.z + m[3], m[4] * v.x + m[5] * v.y + m[6] * v.z + m[7],
                          m[8] * v.x + m[9] * v.y + m[10] * v.z + m[11]);
    }

    // Exact comparison of all sixteen elements.
    bool operator==(const Matrix4& b) const
    {
        for (int i = 0; i < 16; ++i)
            if (m[i] != b.m[i])
                return false;
        return true;
    }
    // The negation of ==.
    bool operator!=(const Matrix4& b) const { return !(*this == b); }
};

// The row vector v times the matrix: component c is
// v.x*m(0,c) + v.y*m(1,c) + v.z*m(2,c). For a rotation this applies its transpose,
// that is its inverse. Defined in the library for float and double.
template <class T>
Vector3<T> operator*(const Vector3<T>& v, const Matrix3<T>& m);

// The float and double forms the library defines.
extern template Vector3<float> operator*(const Vector3<float>&, const Matrix3<float>&);
extern template Vector3<double> operator*(const Vector3<double>&, const Matrix3<double>&);

} // namespace Maths
} // namespace Core

#endif
