#include "page_catcher.h"
