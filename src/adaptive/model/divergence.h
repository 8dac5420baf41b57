// How unlikely it is that chance alone gives so many: the measure by which shapes are scored and by which
// points in sparse places are told from clutter.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_DIVERGENCE_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_DIVERGENCE_H_

namespace primfit::adaptive {

/// The relative entropy KL(share || chance) in nats, 0 for a share that chance gives. That k or more of n
/// independent points have what each has with a chance a, has a probability below exp(-n KL(k / n || a))
/// (Chernoff 1952).
double Divergence(double share, double chance);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_DIVERGENCE_H_
