#include "arm_model.h"
