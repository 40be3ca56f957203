// tavrin_utils.h - umbrella header of the tavrin utilities library.
//
// Includes every portable public header, so code that includes only this
// file sees the whole interface. Platform-layer and internal headers are not
// included.
#pragma once

#include "common/utils/allocator.h"
#include "common/utils/analyticsmanager.h"
#include "common/utils/angleinfo.h"
#include "common/utils/application.h"
#include "common/utils/auto_release_pool.h"
#include "common/utils/base64.h"
#include "common/utils/bytearray.h"
#include "common/utils/color.h"
#include "common/utils/colorize.h"
#include "common/utils/convertutf.h"
#include "common/utils/dictionary.h"
#include "common/utils/export.h"
#include "common/utils/guid.h"
#include "common/utils/history.h"
#include "common/utils/lengthinfo.h"
#include "common/utils/localtime.h"
#include "common/utils/mutex.h"
#include "common/utils/notificationcenter.h"
#include "common/utils/osutils.h"
#include "common/utils/random.h"
#include "common/utils/refcountedstring.h"
#include "common/utils/stringutils.h"
#include "common/utils/tavrintime.h"
#include "common/utils/unichar.h"
#include "common/utils/unitsinfo.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"
