#!/usr/bin/env python3
"""May this application use OpenGL 3.3 with GLSL here, and if not, what does it tell the user?"""
import ctypes
import json
import sys

NO_MEASURE = 1

library = ctypes.CDLL("gpuprowler.dll" if sys.platform == "win32" else "libgpuprowler.so.0")
library.gpuprowler_request_new.restype = ctypes.c_void_p
library.gpuprowler_set_options.argtypes = ctypes.c_void_p, ctypes.c_uint
library.gpuprowler_set_seconds.argtypes = ctypes.c_void_p, ctypes.c_double
library.gpuprowler_ask.argtypes = library.gpuprowler_request_free.argtypes = (ctypes.c_void_p,)
library.gpuprowler_ask.restype = ctypes.c_void_p
library.gpuprowler_json.argtypes = library.gpuprowler_answer_free.argtypes = (ctypes.c_void_p,)
library.gpuprowler_json.restype = ctypes.c_char_p

request = library.gpuprowler_request_new()
library.gpuprowler_set_options(request, NO_MEASURE)
library.gpuprowler_set_seconds(request, 15)
answer = library.gpuprowler_ask(request)
document = json.loads(library.gpuprowler_json(answer))
library.gpuprowler_answer_free(answer)
library.gpuprowler_request_free(request)

for gpu in document["gpus"]:
    values = gpu["values"]
    if gpu["complete"] and values.get("glVersion", "") >= "3.3" and values.get("canCompileProgramGLSL"):
        sys.exit(print(f"Yes, on {values['glRenderer']}."))
print(f"No GPU with OpenGL 3.3 and GLSL. {document['text']}.")
for reason in document.get("reasons", []):
    print("-", reason["text"])
sys.exit(1)
