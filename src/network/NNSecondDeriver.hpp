#pragma once

#include "network/NNEnsemble.hpp"

namespace melta {

// Gradient of a force loss with respect to the weights. The forces contain the first derivatives dE/dG of the
// network, so their loss needs mixed second derivatives. With c[s][m][g] the coefficient with which dE/dG_g
// enters the loss, this class adds to the weight gradients the derivative of
//
//     sum over s, m of outGrad[s][m] E[s][m]  +  sum over s, m, g of c[s][m][g] dE[s][m]/dG_g
//
// with outGrad and c held fixed; the first sum is the energy term, which shares the sweep. The sum over the
// input nodes g is linear, so one sweep along the direction c serves all of them (Pearlmutter, Neural
// Computation 6, 147 (1994)): with W_l, z_l, y_l, f the layers' weights, pre-activation values, outputs and
// activation, and p_l = dE/dz_l,
//
//     forward   dz_0 = W_0 c,  dy_l = f'(z_l) dz_l,  dz_l = W_l dy_(l-1)
//     backward  u_l = f'(z_l) W_(l+1)^T u_(l+1) + f''(z_l) dE/dy_l dz_l      (from u = outGrad at the output)
//     gradient  dL/dW_l = u_l y_(l-1)^T + p_l dy_(l-1)^T,  dL/db_l = u_l     (y_(-1) = G, dy_(-1) = c)
//
// The approximate form leaves out the terms with f''.
class NNSecondDeriver {
public:
    // Both are borrowed. The tile holds what goForward and goBackward of the ensemble left, and c in inpGrad.
    NNSecondDeriver(const NNEnsemble* ensemble, EnsembleTile* tile);

    // outGrad [numSamples][numModels], null for none.
    void updateWeightGrads(bool isExact, const float* outGrad, EnsembleGrads& grads) const;

private:
    void goTangentForward(bool isExact) const;
    void goAdjointBackward(const float* outGrad) const;
    void scaleGradients(const float* outGrad) const;
    void accumulate(const float* outGrad, bool hasAdjoint, EnsembleGrads& grads) const;

    const NNEnsemble* ensemble;
    EnsembleTile* tile;
};

} // namespace melta
