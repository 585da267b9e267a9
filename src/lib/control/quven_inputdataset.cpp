#include "control/quven_inputdataset.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENInputDataset);
