# Type hints of the komath extension module (numpy arrays in and out).
from fractions import Fraction
from typing import Literal, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

_Real = npt.ArrayLike  # integers or floats, converted to float64
_F64 = npt.NDArray[np.float64]
_F32 = npt.NDArray[np.float32]
_Border = Literal["clamp", "zero", "wrap", "reflect", "mirror"]

class AlignResult:
    @property
    def rotation(self) -> _F64: ...  # (d, d)
    @property
    def translation(self) -> _F64: ...  # (d,)
    @property
    def scale(self) -> float: ...
    @property
    def matrix(self) -> _F64: ...  # (4, 4), (x, y, z, 1) @ matrix
    @property
    def rms_before(self) -> float: ...
    @property
    def max_before(self) -> float: ...
    @property
    def rms_after(self) -> float: ...
    @property
    def max_after(self) -> float: ...

def align(
    target: _Real,
    source: _Real,
    scale: Union[bool, Literal["ratio"]] = False,
    allow_reflection: bool = False,
    translation_only: bool = False,
    planar: bool = False,
) -> AlignResult: ...

class GpaResult:
    @property
    def mean(self) -> _F64: ...  # (m, d)
    @property
    def aligned(self) -> _F64: ...  # (k, m, d)
    @property
    def rotations(self) -> _F64: ...  # (k, d, d)
    @property
    def scales(self) -> _F64: ...  # (k,)
    @property
    def translations(self) -> _F64: ...  # (k, d)
    @property
    def rounds(self) -> int: ...

def gpa(
    shapes: _Real,
    method: Literal["full", "partial", "rigid"] = "full",
    tolerance: float = 1e-6,
    reference: int = 0,
    allow_reflection: bool = False,
) -> GpaResult: ...

def det_sign(a: _Real) -> int: ...
def det_exact(a: _Real) -> Fraction: ...

class FitResult:
    @property
    def coefficients(self) -> _F64: ...  # in x, constant first
    @property
    def scaled_coefficients(self) -> _F64: ...  # in (x - shift) / scale
    @property
    def shift(self) -> float: ...
    @property
    def scale(self) -> float: ...
    @property
    def chi_square(self) -> float: ...
    @property
    def ill_conditioned(self) -> bool: ...

def fit(x: _Real, y: _Real, degree: int, sigma: Optional[_Real] = None) -> FitResult: ...
def smooth(x: _Real, y: _Real, half_width: float, period: Optional[float] = None) -> _F64: ...

class MT19937:
    def __init__(self, seed: Union[int, Sequence[int], npt.NDArray[np.integer]]) -> None: ...
    def seed(self, seed: Union[int, Sequence[int], npt.NDArray[np.integer]]) -> None: ...
    def random_uint32(self, n: int) -> npt.NDArray[np.uint32]: ...
    def random(self, n: int) -> _F64: ...
    def normal(self, n: int, mean: float = 0.0, sd: float = 1.0) -> _F64: ...
    def getstate(self) -> bytes: ...
    def setstate(self, state: bytes) -> None: ...

def slerp(q0: _Real, q1: _Real, t: Union[float, _Real]) -> _F64: ...
def quaternion_to_matrix(q: _Real) -> _F64: ...
def matrix_to_quaternion(m: _Real) -> _F64: ...
def correlate(grid: _F32, kernel: _F32, border: _Border = "clamp") -> _F32: ...
def correlate_separable(
    grid: _F32, row: Union[_F32, Sequence[_F32]], border: _Border = "clamp"
) -> _F32: ...
