// The headers of the JavaScript engine, in one place. Only files of this folder include it.
#pragma once

// This build's width, before the engine's own headers take that of the package (script/CMakeLists.txt).
#include <js-config.h>
static_assert(sizeof(void*) ==
#ifdef JS_64BIT
              8
#else
              4
#endif
);

#include <js/Array.h>
#include <js/ArrayBuffer.h>
#include <js/CallAndConstruct.h>
#include <js/CharacterEncoding.h>
#include <js/CompilationAndEvaluation.h>
#include <js/CompileOptions.h>
#include <js/Context.h>
#include <js/ContextOptions.h>
#include <js/Conversions.h>
#include <js/ErrorReport.h>
#include <js/Exception.h>
#include <js/GCAPI.h>
#include <js/GCVector.h>
#include <js/GlobalObject.h>
#include <js/Initialization.h>
#include <js/Interrupt.h>
#include <js/JSON.h>
#include <js/MapAndSet.h>
#include <js/MemoryCallbacks.h>
#include <js/MemoryFunctions.h>
#include <js/Modules.h>
#include <js/Object.h>
#include <js/Promise.h>
#include <js/PropertyAndElement.h>
#include <js/Realm.h>
#include <js/SavedFrameAPI.h>
#include <js/ScriptPrivate.h>
#include <js/SourceText.h>
#include <js/Stack.h>
#include <js/String.h>
#include <js/StructuredClone.h>
#include <js/Value.h>
#include <js/experimental/TypedData.h>
#include <js/friend/ErrorMessages.h>
#include <jsapi.h>
#include <jsfriendapi.h>
