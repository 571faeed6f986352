// A bounded stack of homogeneous 4x4 matrices in the manner of a graphics
// matrix stack: the top is the current transformation, changed by
// post-multiplying translations, scalings and rotations (the newest is applied
// first to a column vector), saved with Push and restored with Pop. The stack
// is never empty.
// Threading: not synchronised; one object belongs to one thread at a time.
#ifndef CORELIB_MATHS_TRANSFORMATIONSTACK_H
#define CORELIB_MATHS_TRANSFORMATIONSTACK_H

#include "Maths/Transformation.h"
#include "Maths/Vector.h"

#include <cstdint>
#include <vector>

namespace Core
{

class TransformationStack
{
public:
    // An identity on the stack, even when capacity is 0. Push never grows the
    // stack beyond capacity matrices.
    explicit TransformationStack(unsigned int capacity);
    ~TransformationStack();

    // Pushes a copy of the top while fewer than capacity matrices are held;
    // otherwise does nothing.
    void Push();
    // Removes the top unless it is the last matrix, which is never removed.
    void Pop();
    // The number of matrices, at least 1.
    unsigned int GetSize() const;

    // The top matrix; the reference is valid until the next Push or Pop.
    const Maths::Matrix4<double>& GetHomogeneous() const;
    void GetHomogeneous(Maths::Matrix4<double>& out) const;

    // Replace the top.
    void Load(const Maths::Matrix4<double>& matrix);
    void Load(const Maths::Transformation& transformation);
    void LoadIdentity();

    // top = top * matrix.
    void Multiply(const Maths::Matrix4<double>& matrix);
    void Multiply(const Maths::Transformation& transformation);
    // top = top * a translation by offset.
    void Translate(const Maths::Vector3<double>& offset);
    // top = top * a scale by factors (x, y, z).
    void Scale(const Maths::Vector3<double>& factors);
    // A right-handed rotation by angle radians about axis. Requires: axis is a
    // unit vector (it is used exactly as given).
    void Rotate(const Maths::Vector3<double>& axis, double angle);

private:
    std::vector<Maths::Matrix4<double>> m_matrices; // bottom first, top last
    std::uint32_t m_capacity;                       // most matrices Push will create
};

} // namespace Core

#endif
