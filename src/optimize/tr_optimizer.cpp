#include "optimize/tr_optimizer.h"

TROptimizer::~TROptimizer() = default;
