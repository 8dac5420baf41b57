#include "primfit/fit/fit_input_params.h"

FitInputParamsBase::~FitInputParamsBase() = default;
