// CODA macro: the keyword front end of the CODEC compressor.
#pragma once

#include <cstdint>
#include <string>

#include "archive/codec_remap.h"
#include "framework/mlib.h"
#include "framework/secure.h"

namespace sigillo {

using CodecText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

const WCcmd* codaCommands();
const char* const* codaDescriptions();

// The command words a handler writes before call_codec's parts.
CodecText codaWords(const WCopt* options, int kind, bool selfexp);
// call_codec's parts, in their fixed order, for the options given.
CodecText callCodecParts(const WCopt* options);
// Runs CODEC on `command` plus the parts; 0 or the mapped macro code.
uint16_t call_codec(WCopt* options, CodecText* command, int kind);
// Macro code of a CODEC code; unmapped codes give 30 after a warning.
uint16_t RemapErr(uint16_t codecCode, int kind);
// 0 when `path` opens and holds at least one byte; else 200, 201, 249, 202.
uint16_t checkFileSize(const char* path);

}  // namespace sigillo
