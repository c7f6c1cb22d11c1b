// Warns the user when a source file is younger than the absolute file.
#pragma once

struct ElfImage;

// Looks for `sourceName` along the search path and compares its time with that of the absolute file. When the source is
// the younger, asks the user in a message box, unless the environment key AUTOTEST is ON or the user has asked for no
// more warnings for this image. A source that cannot be found is no error. A file in memory has no time, and no source
// is looked for.
void CheckSourceDate(ElfImage* image, const char* sourceName);
