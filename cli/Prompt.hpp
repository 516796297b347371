// The interactive prompt of velmarlua.
#pragma once

#include "Session.hpp"

#include <string>

namespace velmar::cli
{

// Shows the banner, runs index.lua when present, then reads and runs chunks until exit, Esc on an empty
// line, end of input or os.exit. Returns the exit status.
int runPrompt(Session& session);

// True when `message`, a syntax error of `source` under `chunkName`, means that the source ended before
// the chunk did: the error stands at the end of the input, or the input ends inside a string or comment.
bool endsBeforeChunk(const std::string& source, const std::string& message, const std::string& chunkName);

} // namespace velmar::cli
