"""Shared fixtures: the komath tool, run on the same input as the package.

CTest sets KOMATH_TOOL to the built tool (build/apps/komath/komath) and
PYTHONPATH to the built module; run by hand, set both the same way.
"""
import json
import os
import subprocess

import numpy as np
import pytest

EPS32 = float(np.finfo(np.float32).eps)
EPS64 = float(np.finfo(np.float64).eps)


@pytest.fixture
def tool(tmp_path):
    """tool(command, *arguments, inputs=[array, ...]) runs `komath command --json`.

    Each array of `inputs` is written as a text file of hexadecimal floats
    (exact for doubles; a list of arrays becomes blocks separated by blank
    lines) and its path inserted before the arguments. Returns the parsed
    JSON document.
    """
    path = os.environ.get("KOMATH_TOOL")
    if not path:
        pytest.skip("KOMATH_TOOL is not set")

    def run(command, *arguments, inputs=()):
        files = []
        for i, data in enumerate(inputs):
            blocks = data if isinstance(data, list) else [data]
            text = "\n".join(
                "\n".join(" ".join(float(v).hex() for v in np.atleast_1d(row)) for row in block)
                + "\n"
                for block in blocks
            )
            file = tmp_path / f"input{i}.txt"
            file.write_text(text)
            files.append(str(file))
        result = subprocess.run(
            [path, command, "--json", *files, *arguments], capture_output=True, text=True
        )
        assert result.returncode == 0, result.stderr
        return json.loads(result.stdout)

    return run
