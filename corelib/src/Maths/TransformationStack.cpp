#include "Maths/TransformationStack.h"

#include <cmath>

namespace Core
{

TransformationStack::TransformationStack(unsigned int capacity) : m_capacity(capacity)
{
    m_matrices.reserve(capacity);
    m_matrices.push_back(Maths::Matrix4<double>());
}

TransformationStack::~TransformationStack() = default;

void TransformationStack::Push()
{
    if (m_matrices.size() < m_capacity)
    {
        // A copy first: push_back of an element of the vector itself may reallocate under it.
        const Maths::Matrix4<double> top = m_matrices.back();
        m_matrices.push_back(top);
    }
}

void TransformationStack::Pop()
{
    if (m_matrices.size() > 1)
        m_matrices.pop_back();
}

unsigned int TransformationStack::GetSize() const
{
    return static_cast<unsigned int>(m_matrices.size());
}

const Maths::Matrix4<double>& TransformationStack::GetHomogeneous() const
{
    return m_matrices.back();
}

void TransformationStack::GetHomogeneous(Maths::Matrix4<double>& out) const
{
    out = m_matrices.back();
}

void TransformationStack::Load(const Maths::Matrix4<double>& matrix)
{
    m_matrices.back() = matrix;
}

void TransformationStack::Load(const Maths::Transformation& transformation)
{
    transformation.GetHomogeneous(m_matrices.back());
}

void TransformationStack::LoadIdentity()
{
    m_matrices.back() = Maths::Matrix4<double>();
}

void TransformationStack::Multiply(const Maths::Matrix4<double>& matrix)
{
    m_matrices.back() = m_matrices.back() * matrix;
}

void TransformationStack::Multiply(const Maths::Transformation& transformation)
{
    Maths::Matrix4<double> matrix;
    transformation.GetHomogeneous(matrix);
    Multiply(matrix);
}

void TransformationStack::Translate(const Maths::Vector3<double>& offset)
{
    Maths::Transformation translation;
    translation.SetTranslate(offset);
    Multiply(translation);
}

void TransformationStack::Scale(const Maths::Vector3<double>& factors)
{
    Maths::Transformation scaling;
    scaling.SetScale(factors);
    Multiply(scaling);
}

void TransformationStack::Rotate(const Maths::Vector3<double>& axis, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double k = 1 - c;
    const double x = axis.x, y = axis.y, z = axis.z;
    Maths::Transformation rotation;
    rotation.SetRotate(Maths::Matrix3<double>(c + x * x * k, x * y * k - z * s, x * z * k + y * s,
                                              x * y * k + z * s, c + y * y * k, y * z * k - x * s,
                                              x * z * k - y * s, y * z * k + x * s, c + z * z * k));
    Multiply(rotation);
}

} // namespace Core
