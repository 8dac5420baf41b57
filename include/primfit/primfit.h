/// Everything that a host includes; see flat.h for the plain C functions.
#ifndef PRIMFIT_PRIMFIT_H_
#define PRIMFIT_PRIMFIT_H_

#include "primfit/api/ifit.h"
#include "primfit/api/plane_from_points.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/fit_histogram.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/fit/fit_quality.h"
#include "primfit/fit/scoped_seed.h"
#include "primfit/fit/suppress_fitter_mt.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

#endif  // PRIMFIT_PRIMFIT_H_
