#include "network/NNLayerKernels.hpp"

#include "config/Codes.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "network/NNLayerKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <hwy/contrib/math/math-inl.h>

HWY_BEFORE_NAMESPACE();
namespace melta::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Runs work(tag, i) over [0, size) in the widest vectors that fit, and the remainder in narrower ones: a row
// of, say, 40 nodes is no whole number of wide vectors, and its last eight one by one would cost more than
// the rest.
template <class Work>
HWY_INLINE void forEachVector(std::size_t size, Work&& work) {
    std::size_t i = 0;
    const auto take = [&](auto d) {
        for (; i + hn::Lanes(d) <= size; i += hn::Lanes(d)) {
            work(d, i);
        }
    };
    take(hn::ScalableTag<float>());
    take(hn::CappedTag<float, 8>());
    take(hn::CappedTag<float, 4>());
    take(hn::CappedTag<float, 1>());
}

// Each activation gives f, f' and f'' of one vector.
template <class V>
struct Activated {
    V value;
    V drv1;
    V drv2;
};

struct Identity {
    template <class D, class V = hn::Vec<D>>
    HWY_INLINE Activated<V> operator()(D d, V x) const {
        return {x, hn::Set(d, 1.0f), hn::Zero(d)};
    }
};

struct Sigmoid {
    template <class D, class V = hn::Vec<D>>
    HWY_INLINE Activated<V> operator()(D d, V x) const {
        // Beyond 50 the derivatives are exactly zero, which the formula would miss by the last bits.
        const V limit = hn::Set(d, 50.0f);
        const V one = hn::Set(d, 1.0f);
        const auto isLow = hn::Lt(x, hn::Neg(limit));
        const auto isHigh = hn::Gt(x, limit);
        const V clipped = hn::Min(hn::Max(x, hn::Neg(limit)), limit);
        V s = hn::Div(one, hn::Add(hn::Exp(d, hn::Neg(clipped)), one));
        s = hn::IfThenElse(isHigh, one, hn::IfThenZeroElse(isLow, s));
        // NaN must stay NaN although the clipping compares it away.
        s = hn::IfThenElse(hn::IsNaN(x), x, s);
        const V rest = hn::Sub(one, s);
        const V drv1 = hn::Mul(rest, s);
        return {s, drv1, hn::Mul(hn::Sub(rest, s), drv1)};
    }
};

// tanh(x) and its slope 1 - tanh(x)^2, by the tangent of half the argument, n / q: 2 n q / (q^2 + n^2) and
// ((q^2 - n^2) / (q^2 + n^2))^2 forget its rounding where tanh comes near 1. n and q are polynomials, our own
// fit of least relative error, 2.4e-8. Within 4.5 units in the last place, the slope within 3e-7; from 9.02
// on the value is 1 to rounding. Takes less than half the time of a library's function, which goes by the
// exponential. NaN stays NaN.
template <class V>
struct TanhAndSlope {
    V value, slope;

    template <class D>
    HWY_INLINE TanhAndSlope(D d, V x) {
        const V limit = hn::Set(d, 9.02f);
        const V one = hn::Set(d, 1.0f);
        V a = hn::Abs(x);
        a = hn::Mul(hn::Set(d, 0.5f), hn::IfThenElse(hn::Gt(a, limit), limit, a));
        const V z = hn::Mul(a, a);
        V p = hn::Set(d, 5.491328814e-6f);
        p = hn::MulAdd(p, z, hn::Set(d, 2.556839037e-3f));
        p = hn::MulAdd(p, z, hn::Set(d, 1.259547539e-1f));
        p = hn::MulAdd(p, z, hn::Set(d, 9.999999769e-1f));
        V q = hn::Set(d, 1.749725351e-4f);
        q = hn::MulAdd(q, z, hn::Set(d, 2.231990883e-2f));
        q = hn::MulAdd(q, z, hn::Set(d, 4.592878345e-1f));
        q = hn::MulAdd(q, z, one);
        const V n = hn::Mul(a, p);
        const V n2 = hn::Mul(n, n);
        const V inverse = hn::Div(one, hn::MulAdd(q, q, n2));
        value = hn::CopySign(hn::Mul(hn::Mul(hn::Add(n, n), q), inverse), x);
        const V root = hn::Mul(hn::MulSub(q, q, n2), inverse);
        slope = hn::Mul(root, root);
    }
};

template <bool isTwisted>
struct Tanh {
    template <class D, class V = hn::Vec<D>>
    HWY_INLINE Activated<V> operator()(D d, V x) const {
        const TanhAndSlope<V> t(d, x);
        const V drv2 = hn::Mul(hn::Mul(hn::Set(d, -2.0f), t.value), t.slope);
        if constexpr (isTwisted) {
            const V twistOf = hn::Set(d, twistedTanhSlope);
            return {hn::MulAdd(twistOf, x, t.value), hn::Add(twistOf, t.slope), drv2};
        } else {
            return {t.value, t.slope, drv2};
        }
    }
};

struct Elu {
    template <class D, class V = hn::Vec<D>>
    HWY_INLINE Activated<V> operator()(D d, V x) const {
        const V zero = hn::Zero(d);
        const V one = hn::Set(d, 1.0f);
        const auto isPositive = hn::Ge(x, zero);
        const V e = hn::Exp(d, hn::Min(x, zero));
        const V negative = hn::Expm1(d, hn::Min(x, zero));
        V value = hn::IfThenElse(isPositive, x, negative);
        value = hn::IfThenElse(hn::IsNaN(x), x, value);
        return {value, hn::IfThenElse(isPositive, one, e), hn::IfThenZeroElse(isPositive, e)};
    }
};

// Complement of the error function for x >= 0, as exp(-x^2) times a polynomial in u = 2.4 t - 1.4, t = 1 / (1
// + x / 2). The coefficients are our own Chebyshev interpolation of exp(x^2) erfc(x) on 0 <= x <= 10
// (relative error 1.5e-7).
template <class D, class V = hn::Vec<D>>
HWY_INLINE V complementOfErf(D d, V x) {
    constexpr float coefficients[] = {
        3.336736642e-01f,  4.286347953e-01f, 1.954428392e-01f, 4.599039138e-02f,  -1.100820363e-03f,
        -2.923582367e-03f, 7.675309708e-05f, 2.458251876e-04f, -2.194962979e-05f, -1.792773338e-05f};
    constexpr int degree = 9;
    const V one = hn::Set(d, 1.0f);
    const V t = hn::Div(one, hn::MulAdd(hn::Set(d, 0.5f), x, one));
    const V u = hn::MulSub(hn::Set(d, 2.4f), t, hn::Set(d, 1.4f));
    V sum = hn::Set(d, coefficients[degree]);
    for (int k = degree - 1; k >= 0; --k) {
        sum = hn::MulAdd(sum, u, hn::Set(d, coefficients[k]));
    }
    return hn::Mul(sum, hn::Exp(d, hn::Neg(hn::Mul(x, x))));
}

struct Gelu {
    template <class D, class V = hn::Vec<D>>
    HWY_INLINE Activated<V> operator()(D d, V x) const {
        const V one = hn::Set(d, 1.0f);
        const V half = hn::Set(d, 0.5f);
        const V tail = hn::Mul(half, complementOfErf(d, hn::Mul(hn::Abs(x), hn::Set(d, 0.70710678f))));
        const V c = hn::IfThenElse(hn::Lt(x, hn::Zero(d)), tail, hn::Sub(one, tail));
        const V square = hn::Mul(x, x);
        const V density = hn::Mul(hn::Exp(d, hn::Mul(hn::Set(d, -0.5f), square)), hn::Set(d, 0.39894228f));
        return {hn::Mul(x, c), hn::MulAdd(x, density, c),
                hn::Mul(hn::Sub(hn::Set(d, 2.0f), square), density)};
    }
};

template <class Function>
void activateWith(Function function, std::size_t numRows, std::size_t rowLength, const float* bare,
                  const float* bias, float* out, float* drv1, float* drv2) {
    for (std::size_t s = 0; s < numRows; ++s) {
        const std::size_t row = s * rowLength;
        if (drv2 == nullptr) {
            forEachVector(rowLength, [&](auto d, std::size_t i) {
                const auto x = hn::Add(hn::LoadU(d, bare + row + i), hn::LoadU(d, bias + i));
                const auto y = function(d, x);
                hn::StoreU(y.value, d, out + row + i);
                if (drv1 != nullptr) {
                    hn::StoreU(y.drv1, d, drv1 + row + i);
                }
            });
            continue;
        }
        forEachVector(rowLength, [&](auto d, std::size_t i) {
            const auto x = hn::Add(hn::LoadU(d, bare + row + i), hn::LoadU(d, bias + i));
            const auto y = function(d, x);
            hn::StoreU(y.value, d, out + row + i);
            hn::StoreU(y.drv1, d, drv1 + row + i);
            hn::StoreU(y.drv2, d, drv2 + row + i);
        });
    }
}

void Activate(int activation, std::size_t numRows, std::size_t rowLength, const float* bare,
              const float* bias, float* out, float* drv1, float* drv2) {
    const auto with = [&](auto function) {
        activateWith(function, numRows, rowLength, bare, bias, out, drv1, drv2);
    };
    switch (activation) {
    case Activation::asis:
        return with(Identity{});
    case Activation::sigmoid:
        return with(Sigmoid{});
    case Activation::tanh:
        return with(Tanh<false>{});
    case Activation::eLU:
        return with(Elu{});
    case Activation::twtanh:
        return with(Tanh<true>{});
    case Activation::GELU:
        return with(Gelu{});
    default:
        return;
    }
}

// Adds the products of as many entries from `i` on as fill whole vectors.
template <class D>
HWY_INLINE void addProducts(D d, std::size_t count, const float* a, const float* b, std::size_t& i,
                            float& sum) {
    if (i + hn::Lanes(d) > count) {
        return;
    }
    auto products = hn::Zero(d);
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
        products = hn::MulAdd(hn::LoadU(d, a + i), hn::LoadU(d, b + i), products);
    }
    sum += hn::GetLane(hn::SumOfLanes(d, products));
}

void SumOutputs(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* rows,
                const float* weights, const float* bias, float* out) {
    for (std::size_t s = 0; s < numRows; ++s) {
        for (std::size_t m = 0; m < numModels; ++m) {
            const float* const row = rows + (s * numModels + m) * numNodes;
            const float* const weight = weights + m * numNodes;
            std::size_t i = 0;
            float sum = bias[m];
            addProducts(hn::ScalableTag<float>(), numNodes, row, weight, i, sum);
            addProducts(hn::CappedTag<float, 8>(), numNodes, row, weight, i, sum);
            addProducts(hn::CappedTag<float, 4>(), numNodes, row, weight, i, sum);
            addProducts(hn::CappedTag<float, 1>(), numNodes, row, weight, i, sum);
            out[s * numModels + m] = sum;
        }
    }
}

void SeedGradient(std::size_t numRows, std::size_t rowLength, const float* weights, const float* drv1,
                  float* drv2, float* grad) {
    for (std::size_t s = 0; s < numRows; ++s) {
        const std::size_t row = s * rowLength;
        forEachVector(rowLength, [&](auto d, std::size_t i) {
            const auto w = hn::LoadU(d, weights + i);
            hn::StoreU(hn::Mul(w, hn::LoadU(d, drv1 + row + i)), d, grad + row + i);
            if (drv2 != nullptr) {
                hn::StoreU(hn::Mul(w, hn::LoadU(d, drv2 + row + i)), d, drv2 + row + i);
            }
        });
    }
}

void PassGradient(std::size_t size, const float* drv1, float* drv2, float* grad) {
    forEachVector(size, [&](auto d, std::size_t i) {
        const auto g = hn::LoadU(d, grad + i);
        if (drv2 != nullptr) {
            hn::StoreU(hn::Mul(g, hn::LoadU(d, drv2 + i)), d, drv2 + i);
        }
        hn::StoreU(hn::Mul(g, hn::LoadU(d, drv1 + i)), d, grad + i);
    });
}

void PassTangent(std::size_t size, const float* drv1, const float* gradDrv2, float* tangent, float* adjoint) {
    forEachVector(size, [&](auto d, std::size_t i) {
        const auto z = hn::LoadU(d, tangent + i);
        if (adjoint != nullptr) {
            hn::StoreU(hn::Mul(z, hn::LoadU(d, gradDrv2 + i)), d, adjoint + i);
        }
        hn::StoreU(hn::Mul(z, hn::LoadU(d, drv1 + i)), d, tangent + i);
    });
}

void AddScaled(std::size_t size, const float* back, const float* drv1, float* adjoint) {
    forEachVector(size, [&](auto d, std::size_t i) {
        const auto sum =
            hn::MulAdd(hn::LoadU(d, back + i), hn::LoadU(d, drv1 + i), hn::LoadU(d, adjoint + i));
        hn::StoreU(sum, d, adjoint + i);
    });
}

void ScaleNodes(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* factors,
                const float* grad, float* rows, bool add) {
    for (std::size_t k = 0; k < numRows * numModels; ++k) {
        const float* const source = grad + k * numNodes;
        float* const target = rows + k * numNodes;
        forEachVector(numNodes, [&](auto d, std::size_t i) {
            const auto factor = hn::Set(d, factors[k]);
            const auto before = add ? hn::LoadU(d, target + i) : hn::Zero(d);
            hn::StoreU(hn::MulAdd(factor, hn::LoadU(d, source + i), before), d, target + i);
        });
    }
}

void AddColumnSums(std::size_t numRows, std::size_t rowLength, const float* rows, float* sums) {
    forEachVector(rowLength, [&](auto d, std::size_t i) {
        auto sum = hn::LoadU(d, sums + i);
        for (std::size_t s = 0; s < numRows; ++s) {
            sum = hn::Add(sum, hn::LoadU(d, rows + s * rowLength + i));
        }
        hn::StoreU(sum, d, sums + i);
    });
}

void AddWeightedColumnSums(std::size_t numRows, std::size_t numModels, std::size_t numNodes,
                           const float* factors, const float* rows, float* sums) {
    for (std::size_t m = 0; m < numModels; ++m) {
        forEachVector(numNodes, [&](auto d, std::size_t i) {
            auto sum = hn::LoadU(d, sums + m * numNodes + i);
            for (std::size_t s = 0; s < numRows; ++s) {
                const std::size_t k = s * numModels + m;
                sum = hn::MulAdd(hn::Set(d, factors[k]), hn::LoadU(d, rows + k * numNodes + i), sum);
            }
            hn::StoreU(sum, d, sums + m * numNodes + i);
        });
    }
}

void UpdateByAdam(std::size_t size, const AdamStep& step, const float* grad, float* moment1, float* moment2,
                  float* value) {
    forEachVector(size, [&](auto d, std::size_t i) {
        const auto g = hn::LoadU(d, grad + i);
        const auto m = hn::MulAdd(hn::LoadU(d, moment1 + i), hn::Set(d, step.beta1),
                                  hn::Mul(hn::Set(d, 1.0f - step.beta1), g));
        const auto v = hn::MulAdd(hn::LoadU(d, moment2 + i), hn::Set(d, step.beta2),
                                  hn::Mul(hn::Mul(hn::Set(d, 1.0f - step.beta2), g), g));
        const auto mean = hn::Div(m, hn::Set(d, step.correction1));
        const auto variance = hn::Max(hn::Zero(d), hn::Div(v, hn::Set(d, step.correction2)));
        const auto divisor = hn::Add(hn::Sqrt(variance), hn::Set(d, 0.00000001f));
        const auto change = hn::Div(hn::Mul(mean, hn::Set(d, step.alpha)), divisor);
        hn::StoreU(m, d, moment1 + i);
        hn::StoreU(v, d, moment2 + i);
        hn::StoreU(hn::Sub(hn::LoadU(d, value + i), change), d, value + i);
    });
}

} // namespace melta::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace melta::kernels {

HWY_EXPORT(Activate);
HWY_EXPORT(SumOutputs);
HWY_EXPORT(SeedGradient);
HWY_EXPORT(PassGradient);
HWY_EXPORT(PassTangent);
HWY_EXPORT(AddScaled);
HWY_EXPORT(ScaleNodes);
HWY_EXPORT(AddColumnSums);
HWY_EXPORT(AddWeightedColumnSums);
HWY_EXPORT(UpdateByAdam);

void activate(int activation, std::size_t numRows, std::size_t rowLength, const float* bare,
              const float* bias, float* out, float* drv1, float* drv2) {
    HWY_DYNAMIC_DISPATCH(Activate)(activation, numRows, rowLength, bare, bias, out, drv1, drv2);
}

void sumOutputs(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* rows,
                const float* weights, const float* bias, float* out) {
    HWY_DYNAMIC_DISPATCH(SumOutputs)(numRows, numModels, numNodes, rows, weights, bias, out);
}

void seedGradient(std::size_t numRows, std::size_t rowLength, const float* weights, const float* drv1,
                  float* drv2, float* grad) {
    HWY_DYNAMIC_DISPATCH(SeedGradient)(numRows, rowLength, weights, drv1, drv2, grad);
}

void passGradient(std::size_t size, const float* drv1, float* drv2, float* grad) {
    HWY_DYNAMIC_DISPATCH(PassGradient)(size, drv1, drv2, grad);
}

void passTangent(std::size_t size, const float* drv1, const float* gradDrv2, float* tangent, float* adjoint) {
    HWY_DYNAMIC_DISPATCH(PassTangent)(size, drv1, gradDrv2, tangent, adjoint);
}

void addScaled(std::size_t size, const float* back, const float* drv1, float* adjoint) {
    HWY_DYNAMIC_DISPATCH(AddScaled)(size, back, drv1, adjoint);
}

void scaleNodes(std::size_t numRows, std::size_t numModels, std::size_t numNodes, const float* factors,
                const float* grad, float* rows, bool add) {
    HWY_DYNAMIC_DISPATCH(ScaleNodes)(numRows, numModels, numNodes, factors, grad, rows, add);
}

void addColumnSums(std::size_t numRows, std::size_t rowLength, const float* rows, float* sums) {
    HWY_DYNAMIC_DISPATCH(AddColumnSums)(numRows, rowLength, rows, sums);
}

void addWeightedColumnSums(std::size_t numRows, std::size_t numModels, std::size_t numNodes,
                           const float* factors, const float* rows, float* sums) {
    HWY_DYNAMIC_DISPATCH(AddWeightedColumnSums)(numRows, numModels, numNodes, factors, rows, sums);
}

void updateByAdam(std::size_t size, const AdamStep& step, const float* grad, float* moment1, float* moment2,
                  float* value) {
    HWY_DYNAMIC_DISPATCH(UpdateByAdam)(size, step, grad, moment1, moment2, value);
}

} // namespace melta::kernels
#endif // HWY_ONCE
