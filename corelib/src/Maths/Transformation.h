// An affine transformation of points in space, Y = M*X + T for column vectors,
// kept in factored form where it can be: M is either a general 3x3 matrix or
// the product R*S of a rotation R and a diagonal scale S (the rotation-scale
// form). The identity and rotation-scale forms are applied and inverted without
// a general matrix inverse.
// Operations that need the rotation-scale form or a uniform scale check it
// through ReleaseAssertHandler, which reports the broken precondition; unless
// the handler ends the process, the operation then goes ahead regardless.
// Threading: a plain value; one object belongs to one thread at a time.
// IDENTITY is built before main and is safe to read from any thread.
#ifndef CORELIB_MATHS_TRANSFORMATION_H
#define CORELIB_MATHS_TRANSFORMATION_H

#include "Maths/Vector.h"

namespace Core
{
namespace Maths
{

class Transformation
{
public:
    // A default-constructed transformation.
    static const Transformation IDENTITY;

    // The identity: rotation identity, translation zero, scale (1, 1, 1), and
    // the identity, rotation-scale and uniform-scale flags all set.
    Transformation();

    // Back to the state of a default-constructed transformation.
    void MakeIdentity();
    // Scale (1, 1, 1), marked uniform; the identity flag is unchanged.
    // Requires: rotation-scale form.
    void MakeUnitScale();

    // Stores rotate as R and switches to the rotation-scale form (the scale is kept).
    // Requires: rotate is a rotation.
    void SetRotate(const Matrix3<double>& rotate);
    // R. Requires: rotation-scale form.
    const Matrix3<double>& GetRotate() const;

    // Stores matrix as the general M; the uniform-scale flag is left as it was.
    void SetMatrix(const Matrix3<double>& matrix);
    // The stored matrix: R in rotation-scale form, M otherwise.
    const Matrix3<double>& GetMatrix() const;

    // The translation T.
    void SetTranslate(const Vector3<double>& translate);
    const Vector3<double>& GetTranslate() const;

    // Stores the diagonal of S and marks the scale non-uniform, even when the
    // three factors are equal. Requires: rotation-scale form.
    void SetScale(const Vector3<double>& scale);
    // The diagonal of S (meaningful in rotation-scale form only).
    const Vector3<double>& GetScale() const;
    // Scale (s, s, s), marked uniform. Requires: rotation-scale form.
    void SetUniformScale(double scale);
    // The x scale. Requires: uniform scale, and rotation-scale form.
    double GetUniformScale() const;

    // Whether the transformation is the identity, is in rotation-scale form, and has
    // a uniform scale.
    bool IsIdentity() const { return m_isIdentity; }
    bool IsRSMatrix() const { return m_isRSMatrix; }
    bool IsUniformScale() const { return m_isUniformScale; }

    // A bound on how far the linear part stretches a vector: the largest
    // absolute scale in rotation-scale form, else the largest row sum of
    // absolute values of M.
    double GetNorm() const;
    // Writes the 4x4 homogeneous matrix: the effective M top left, T in the
    // last column, 0, 0, 0, 1 in the last row.
    void GetHomogeneous(Matrix4<double>& homogeneous) const;

    // M*X + T.
    Vector3<double> ApplyForward(const Vector3<double>& point) const;
    // The same for count points. Requires: in and out hold count points; they may be the same array.
    void ApplyForward(const Vector3<double>* in, Vector3<double>* out, int count) const;
    // The X with M*X + T = Y. A singular M gives non-finite components.
    Vector3<double> ApplyInverse(const Vector3<double>& point) const;
    // The same for count points. Requires: in and out hold count points; they may be the same array.
    void ApplyInverse(const Vector3<double>* in, Vector3<double>* out, int count) const;
    // M^-1 * V, without the translation.
    Vector3<double> InvertVector(const Vector3<double>& vector) const;

    // Makes this a composed with b: b applied first, then a. Either may be this object.
    void Product(const Transformation& a, const Transformation& b);
    // Writes the inverse transformation to out. A rotation-scale form with a
    // uniform scale stays in that form; every other form becomes a general
    // matrix. A singular M gives non-finite elements. out may be this object.
    void Inverse(Transformation& out) const;

private:
    // The effective linear part M: R with column c times scale c, or the general matrix.
    Matrix3<double> GetLinear() const;
    // M^-1 from cofactors, each 2x2 difference compensated for product rounding.
    Matrix3<double> GeneralInverse() const;
    // ApplyInverse without the translation: the input is already Y - T.
    Vector3<double> InvertLinear(const Vector3<double>& vector) const;

    Matrix3<double> m_matrix;     // R in rotation-scale form, else the general M
    Vector3<double> m_translate;  // T
    Vector3<double> m_scale;      // diagonal of S, meaningful in rotation-scale form
    bool m_isIdentity;            // the identity; every other member holds its identity value
    bool m_isRSMatrix;            // M = R*S with m_matrix = R
    bool m_isUniformScale;        // the three scale factors are equal
};

} // namespace Maths
} // namespace Core

#endif
