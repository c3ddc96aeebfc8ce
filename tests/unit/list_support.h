// The item list helpers now live with the other shared helpers.
#include "support.h"
