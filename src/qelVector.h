// SPDX-License-Identifier: MIT
// A three-component vector for the arm's link geometry, and the 3x3 transpose.
// Sums are taken in a fixed order (x, then y, then z) so that results are reproducible to the
// last bit across builds.
#ifndef QEL_VECTOR_H
#define QEL_VECTOR_H

#include <cmath>

template <typename T>
class qelVector3D {
public:
    T m_p[3];

    qelVector3D() : m_p{0, 0, 0} {}
    qelVector3D(T x, T y, T z) : m_p{x, y, z} {}
    qelVector3D(const qelVector3D& other) = default;
    qelVector3D& operator=(const qelVector3D& other) = default;

    T& operator[](int i) { return m_p[i]; }
    const T& operator[](int i) const { return m_p[i]; }

    void set(T x, T y, T z) {
        m_p[0] = x;
        m_p[1] = y;
        m_p[2] = z;
    }
    operator const T*() const { return m_p; }
    operator T*() { return m_p; }

    qelVector3D& operator+=(const qelVector3D& v) {
        for (int i = 0; i < 3; ++i) m_p[i] += v.m_p[i];
        return *this;
    }
    qelVector3D& operator-=(const qelVector3D& v) {
        for (int i = 0; i < 3; ++i) m_p[i] -= v.m_p[i];
        return *this;
    }
    qelVector3D& operator*=(T s) {
        for (int i = 0; i < 3; ++i) m_p[i] *= s;
        return *this;
    }
    // Component-wise product and quotient.
    qelVector3D& operator*=(const qelVector3D& v) {
        for (int i = 0; i < 3; ++i) m_p[i] *= v.m_p[i];
        return *this;
    }
    // A zero divisor leaves the vector unchanged, like operator/ below.
    qelVector3D& operator/=(T s) {
        if (s == T(0)) return *this;
        for (int i = 0; i < 3; ++i) m_p[i] /= s;
        return *this;
    }
    qelVector3D& operator/=(const qelVector3D& v) {
        for (int i = 0; i < 3; ++i)
            if (v.m_p[i] != T(0)) m_p[i] /= v.m_p[i];
        return *this;
    }

    bool isZero() const { return m_p[0] == T(0) && m_p[1] == T(0) && m_p[2] == T(0); }
    T distanceSqr(const qelVector3D& v) const {
        T dx = m_p[0] - v.m_p[0], dy = m_p[1] - v.m_p[1], dz = m_p[2] - v.m_p[2];
        return (dx * dx + dy * dy) + dz * dz;
    }
    T distance(const qelVector3D& v) const { return std::sqrt(distanceSqr(v)); }
    T magnitude() const { return std::sqrt((m_p[0] * m_p[0] + m_p[1] * m_p[1]) + m_p[2] * m_p[2]); }
    static T magnitude(const qelVector3D& v) { return v.magnitude(); }
    void normalize() {
        T m = magnitude();
        if (m == T(0)) return;
        for (int i = 0; i < 3; ++i) m_p[i] /= m;
    }
    T dotProduct(const qelVector3D& v) const {
        return m_p[0] * v.m_p[0] + m_p[1] * v.m_p[1] + m_p[2] * v.m_p[2];
    }
    qelVector3D crossProduct(const qelVector3D& v) const {
        return qelVector3D(m_p[1] * v.m_p[2] - m_p[2] * v.m_p[1],
                           m_p[2] * v.m_p[0] - m_p[0] * v.m_p[2],
                           m_p[0] * v.m_p[1] - m_p[1] * v.m_p[0]);
    }
    // Indices of the axes ordered by the absolute size of their component.
    int getLongestAxisComponent() const {
        T ax = std::fabs(m_p[0]), ay = std::fabs(m_p[1]), az = std::fabs(m_p[2]);
        if (ax >= ay && ax >= az) return 0;
        return ay >= az ? 1 : 2;
    }
    int getShortestAxisComponent() const {
        T ax = std::fabs(m_p[0]), ay = std::fabs(m_p[1]), az = std::fabs(m_p[2]);
        if (ax <= ay && ax <= az) return 0;
        return ay <= az ? 1 : 2;
    }
    int getSecondLongestAxisComponent() const {
        return 3 - getLongestAxisComponent() - getShortestAxisComponent();
    }
};

typedef qelVector3D<double> qelVector3Dd;

template <typename T>
qelVector3D<T> crossProduct(const qelVector3D<T>& a, const qelVector3D<T>& b) {
    return a.crossProduct(b);
}

template <typename T>
T dotProduct(const qelVector3D<T>& a, const qelVector3D<T>& b) {
    return a.dotProduct(b);
}

template <typename T>
qelVector3D<T> operator+(const qelVector3D<T>& a, const qelVector3D<T>& b) {
    return qelVector3D<T>(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
}

template <typename T>
qelVector3D<T> operator-(const qelVector3D<T>& a, const qelVector3D<T>& b) {
    return qelVector3D<T>(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

template <typename T>
qelVector3D<T> operator*(const qelVector3D<T>& v, T s) {
    return qelVector3D<T>(v[0] * s, v[1] * s, v[2] * s);
}

template <typename T>
qelVector3D<T> operator*(T s, const qelVector3D<T>& v) {
    return qelVector3D<T>(v[0] * s, v[1] * s, v[2] * s);
}

// Dividing by a divisor equal to zero returns the vector unchanged instead of infinities;
// NaN does not compare equal to zero and is divided by.
template <typename T>
qelVector3D<T> operator/(const qelVector3D<T>& v, T s) {
    if (s == T(0)) return v;
    return qelVector3D<T>(v[0] / s, v[1] / s, v[2] / s);
}

// The zero vector normalises to itself.
template <typename T>
qelVector3D<T> normalize(const qelVector3D<T>& v) {
    T m = v.magnitude();
    if (m == T(0)) return v;
    return v / m;
}

// Component of v along `onto`; projecting onto the zero vector yields NaN components.
template <typename T>
qelVector3D<T> project(const qelVector3D<T>& v, const qelVector3D<T>& onto) {
    return onto * (dotProduct(v, onto) / dotProduct(onto, onto));
}

// `in` and `out` must be different arrays.
inline void MatTranspose(const double in[3][3], double out[3][3]) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[i][j] = in[j][i];
}

#endif
