"""Laboratory material-test curves into constitutive-model parameters, and back into curves.

>>> import xemfit as xf
>>> result = xf.fit("ogden:3", uniaxial=xf.data("treloar1944_uniaxial"))
"""

from ._batch import Batch, batch
from ._core import __version__
from ._errors import BadData, BadInput, Error, MissingFile, NotConverged, NotIdentifiable, WorkerLost
from ._data import data
from ._fit import Comparison, compare, fit
from ._models import Catalogue, CurveInfo, Model, ParameterInfo, models
from ._result import Curve, Fit, Measures, Parameter, Parameters, load

__all__ = [
    "BadData",
    "BadInput",
    "Batch",
    "Catalogue",
    "Comparison",
    "Curve",
    "CurveInfo",
    "Error",
    "Fit",
    "Measures",
    "MissingFile",
    "Model",
    "NotConverged",
    "NotIdentifiable",
    "Parameter",
    "ParameterInfo",
    "Parameters",
    "WorkerLost",
    "__version__",
    "batch",
    "compare",
    "data",
    "fit",
    "load",
    "models",
]
