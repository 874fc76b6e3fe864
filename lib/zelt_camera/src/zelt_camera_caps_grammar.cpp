#include "zelt_camera_caps_grammar_def.h"  // the caps grammar's only instantiation
