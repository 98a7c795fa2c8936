#pragma once

// Whether the process logs what only its developers want to know. At first what the environment variable of this name says (YES,
// TRUE or 1), else false. To be changed on the main thread only.
extern bool NSDebugEnabled;
