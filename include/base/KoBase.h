// The whole base layer: vectors, matrices, arrays, binary and text streams,
// exceptions, the class registry, observers and the algorithm framework.
#pragma once

#include "base/ISerializable.h"
#include "base/KbArray.h"
#include "base/KbArrayRecord.h"
#include "base/KbException.h"
#include "base/KbExport.h"
#include "base/KbFlags.h"
#include "base/KbIDumpable.h"
#include "base/KbMatrix4R.h"
#include "base/KbRTTI.h"
#include "base/KbReferenceCounter.h"
#include "base/KbStreamBinary.h"
#include "base/KbStreamBinaryFile.h"
#include "base/KbStreamBinaryMemory.h"
#include "base/KbStreamWriteASCII.h"
#include "base/KbVector.h"
#include "base/KoAlgorithm.h"
#include "base/KoArray2D.h"
#include "base/KoObservable.h"
#include "base/KoPoint.h"
#include "base/KoUnitTest.h"
