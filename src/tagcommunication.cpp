#include "tagcommunication.h"
