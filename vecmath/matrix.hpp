/// Matrix operations that the plain family and the graphics-call emulation share.
#pragma once

namespace saddlefit {

/// C = A B. Sums run in the wider precision of the two operands, from the first term on.
template <int Size, class A, class B> void multiply(const A *a, const B *b, B *c) {
    for (int row = 0; row < Size; ++row) {
        for (int column = 0; column < Size; ++column) {
            decltype(*a * *b) sum = 0;
            for (int k = 0; k < Size; ++k)
                sum += a[Size * row + k] * b[Size * k + column];
            c[Size * row + column] = static_cast<B>(sum);
        }
    }
}

/// M = T(x, y, z) M.
template <class T> void translate(T *m, T x, T y, T z) {
    for (int column = 0; column < 4; ++column)
        m[12 + column] = x * m[column] + y * m[4 + column] + z * m[8 + column] + m[12 + column];
}

} // namespace saddlefit
