#include "Maths/Transformation.h"

#include "Utilities/Assert.h"

#include <cmath>

namespace Core
{
namespace Maths
{

namespace
{
// The path failed checks report: this source as the repository knows it.
const char* const kSourceFile = "corelib/src/Maths/Transformation.cpp";
} // namespace

// Reports a broken precondition with its line (logs are matched on the lines of
// these checks: keep each where it stands) and goes on unless the handler exits.
#define TRANSFORMATION_CHECK(condition, message)                                                              \
    if (!(condition))                                                                                         \
    ReleaseAssertHandler::Invoke(#condition, message, __LINE__, kSourceFile)

// Built during the library's static initialisation, before any caller runs.
const Transformation Transformation::IDENTITY;

Transformation::Transformation()
{
    MakeIdentity();
}

// ---- Setters and the checked getters ----

const Matrix3<double>& Transformation::GetRotate() const
{
    TRANSFORMATION_CHECK(m_isRSMatrix, "Transformation::GetRotate(): m_isRSMatrix == false");
    return m_matrix;
}

// The scale is kept, so a rotation set after a scale yields R*S with that scale.
void Transformation::SetRotate(const Matrix3<double>& rotate)
{
    m_matrix = rotate;
    m_isRSMatrix = true;
    m_isIdentity = false;
}

void Transformation::SetMatrix(const Matrix3<double>& matrix)
{
    m_matrix = matrix;
    m_isRSMatrix = false;
    m_isIdentity = false;
}

// The linear part keeps its form, so an identity given a translation stays in rotation-scale form.
void Transformation::SetTranslate(const Vector3<double>& translate)
{
    m_translate = translate;
    m_isIdentity = false;
}

// Three equal factors are still marked non-uniform: only SetUniformScale promises uniformity.
void Transformation::SetScale(const Vector3<double>& scale)
{
    TRANSFORMATION_CHECK(m_isRSMatrix, "Transformation::SetScale: m_isRSMatrix == false");
    m_scale = scale;
    m_isUniformScale = false;
    m_isIdentity = false;
}

const Vector3<double>& Transformation::GetScale() const
{
    return m_scale;
}

void Transformation::SetUniformScale(double scale)
{
    TRANSFORMATION_CHECK(m_isRSMatrix, "Transformation::SetUniformScale: m_isRSMatrix == false");
    m_scale = Vector3<double>(scale, scale, scale);
    m_isUniformScale = true;
    m_isIdentity = false;
}

double Transformation::GetUniformScale() const
{
    TRANSFORMATION_CHECK(m_isUniformScale, "Transformation::GetUniformScale(): m_isUniformScale == false");
    TRANSFORMATION_CHECK(m_isRSMatrix, "Transformation::GetUniformScale(): m_isRSMatrix == false");
    return m_scale.x;
}

// ---- Plain getters and the identity ----

// R, not R*S, in rotation-scale form; GetHomogeneous gives the effective matrix.
const Matrix3<double>& Transformation::GetMatrix() const
{
    return m_matrix;
}

const Vector3<double>& Transformation::GetTranslate() const
{
    return m_translate;
}

// Every member returns to its identity value: the application and composition
// skip the members of an identity, so they must never hold anything else.
void Transformation::MakeIdentity()
{
    m_matrix = Matrix3<double>();
    m_translate = Vector3<double>(0, 0, 0);
    m_scale = Vector3<double>(1, 1, 1);
    m_isIdentity = true;
    m_isRSMatrix = true;
    m_isUniformScale = true;
}

// The identity flag is left alone: a unit scale does not undo a rotation or translation.
void Transformation::MakeUnitScale()
{
    TRANSFORMATION_CHECK(m_isRSMatrix, "Transformation::MakeUnitScale(): m_isRSMatrix == false");
    m_scale = Vector3<double>(1, 1, 1);
    m_isUniformScale = true;
}

#undef TRANSFORMATION_CHECK

// ---- Derived quantities ----

Matrix3<double> Transformation::GetLinear() const
{
    if (!m_isRSMatrix)
        return m_matrix;
    Matrix3<double> linear = m_matrix;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            linear(r, c) *= m_scale[c];
    return linear;
}

double Transformation::GetNorm() const
{
    if (m_isRSMatrix)
        return std::fmax(std::fabs(m_scale.x), std::fmax(std::fabs(m_scale.y), std::fabs(m_scale.z)));
    double norm = 0;
    for (int r = 0; r < 3; ++r)
        norm = std::fmax(norm, std::fabs(m_matrix(r, 0)) + std::fabs(m_matrix(r, 1)) + std::fabs(m_matrix(r, 2)));
    return norm;
}

void Transformation::GetHomogeneous(Matrix4<double>& homogeneous) const
{
    const Matrix3<double> linear = GetLinear();
    homogeneous = Matrix4<double>();
    for (int r = 0; r < 3; ++r)
    {
        for (int c = 0; c < 3; ++c)
            homogeneous(r, c) = linear(r, c);
        homogeneous(r, 3) = m_translate[r];
    }
}

// ---- Application ----

Vector3<double> Transformation::ApplyForward(const Vector3<double>& point) const
{
    if (m_isIdentity)
        return point;
    if (m_isRSMatrix)
    {
        const Vector3<double> scaled(point.x * m_scale.x, point.y * m_scale.y, point.z * m_scale.z);
        return m_matrix * scaled + m_translate;
    }
    return m_matrix * point + m_translate;
}

void Transformation::ApplyForward(const Vector3<double>* in, Vector3<double>* out, int count) const
{
    for (int i = 0; i < count; ++i)
        out[i] = ApplyForward(in[i]);
}

Vector3<double> Transformation::ApplyInverse(const Vector3<double>& point) const
{
    if (m_isIdentity)
        return point;
    return InvertLinear(point - m_translate);
}

void Transformation::ApplyInverse(const Vector3<double>* in, Vector3<double>* out, int count) const
{
    for (int i = 0; i < count; ++i)
        out[i] = ApplyInverse(in[i]);
}

Vector3<double> Transformation::InvertVector(const Vector3<double>& vector) const
{
    if (m_isIdentity)
        return vector;
    return InvertLinear(vector);
}

Vector3<double> Transformation::InvertLinear(const Vector3<double>& vector) const
{
    if (!m_isRSMatrix)
        return GeneralInverse() * vector;
    // The row vector times R applies R's transpose, which is its inverse.
    const Vector3<double> unrotated = vector * m_matrix;
    if (m_isUniformScale)
        return unrotated / GetUniformScale();
    return Vector3<double>(unrotated.x / m_scale.x, unrotated.y / m_scale.y, unrotated.z / m_scale.z);
}

namespace
{
// a*b - c*d with the rounding error of c*d taken out of the difference:
// fma(c, d, -w) is exactly that error, so cancellation cannot magnify it.
double DifferenceOfProducts(double a, double b, double c, double d)
{
    const double w = c * d;
    return std::fma(a, b, -w) - std::fma(c, d, -w);
}
} // namespace

Matrix3<double> Transformation::GeneralInverse() const
{
    const Matrix3<double>& m = m_matrix;
    // The adjugate: the transposed matrix of cofactors.
    const Matrix3<double> adjugate(DifferenceOfProducts(m(1, 1), m(2, 2), m(1, 2), m(2, 1)),
                                   DifferenceOfProducts(m(0, 2), m(2, 1), m(0, 1), m(2, 2)),
                                   DifferenceOfProducts(m(0, 1), m(1, 2), m(0, 2), m(1, 1)),
                                   DifferenceOfProducts(m(1, 2), m(2, 0), m(1, 0), m(2, 2)),
                                   DifferenceOfProducts(m(0, 0), m(2, 2), m(0, 2), m(2, 0)),
                                   DifferenceOfProducts(m(0, 2), m(1, 0), m(0, 0), m(1, 2)),
                                   DifferenceOfProducts(m(1, 0), m(2, 1), m(1, 1), m(2, 0)),
                                   DifferenceOfProducts(m(0, 1), m(2, 0), m(0, 0), m(2, 1)),
                                   DifferenceOfProducts(m(0, 0), m(1, 1), m(0, 1), m(1, 0)));
    const double determinant = m(0, 0) * adjugate(0, 0) + m(0, 1) * adjugate(1, 0) + m(0, 2) * adjugate(2, 0);
    Matrix3<double> inverse = adjugate;
    for (double& e : inverse.m)
        e /= determinant;
    return inverse;
}

// ---- Composition ----

void Transformation::Product(const Transformation& a, const Transformation& b)
{
    if (a.m_isIdentity)
    {
        *this = b;
        return;
    }
    if (b.m_isIdentity)
    {
        *this = a;
        return;
    }
    Transformation result;
    if (a.m_isRSMatrix && b.m_isRSMatrix && a.m_isUniformScale)
    {
        // R_a s (R_b S_b X + T_b) + T_a keeps the rotation-scale form.
        const double s = a.m_scale.x;
        result.SetRotate(a.m_matrix * b.m_matrix);
        result.SetTranslate(a.m_matrix * b.m_translate * s + a.m_translate);
        if (b.m_isUniformScale)
            result.SetUniformScale(s * b.m_scale.x);
        else
            result.SetScale(b.m_scale * s);
    }
    else
    {
        const Matrix3<double> linearA = a.GetLinear();
        result.SetMatrix(linearA * b.GetLinear());
        result.SetTranslate(linearA * b.m_translate + a.m_translate);
    }
    *this = result;
}

void Transformation::Inverse(Transformation& out) const
{
    Transformation inverse;
    if (m_isIdentity)
    {
        out = inverse;
        return;
    }
    if (m_isRSMatrix && m_isUniformScale)
    {
        // (R s)^-1 = R^T (1/s): still a rotation times a uniform scale.
        inverse.SetRotate(m_matrix.Transposed());
        inverse.SetUniformScale(1.0 / m_scale.x);
    }
    else if (m_isRSMatrix)
    {
        // (R S)^-1 = S^-1 R^T: row i of R^T divided by scale i, not a rotation-scale product.
        Matrix3<double> linear = m_matrix.Transposed();
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                linear(r, c) /= m_scale[r];
        inverse.SetMatrix(linear);
    }
    else
    {
        inverse.SetMatrix(GeneralInverse());
    }
    inverse.SetTranslate(-inverse.ApplyForward(m_translate));
    out = inverse;
}

} // namespace Maths
} // namespace Core
