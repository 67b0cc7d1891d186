#include "math/functions/KoFunctionDifferentiable.h"

template <class In, class S, class G>
KoFunctionDifferentiable<In, S, G>::~KoFunctionDifferentiable() = default;

template class KoFunctionDifferentiable<float, float, float>;
template class KoFunctionDifferentiable<KbVector3f, float, KbVector3f>;
template class KoFunctionDifferentiable<KbVector3d, double, KbVector3d>;
