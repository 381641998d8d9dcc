#pragma once
// The umbrella header: including it gives every exported class and function.
// Each family header can also be included on its own.
#include <kernel/Export.h>
#include <kernel/Version.h>
#include <kernel/Platform.h>
#include <kernel/RefCount.h>
#include <kernel/TypeName.h>
#include <kernel/PropHandler.h>
#include <kernel/ClassProperty.h>
#include <kernel/Ease.h>
#include <kernel/NR.h>
#include <kernel/Region.h>
#include <kernel/RectList.h>
#include <kernel/CPU.h>
#include <kernel/PerfCounter.h>
#include <kernel/SystemParameters.h>
