"""What people see of a result."""

import matplotlib
import numpy as np

import xemfit as xf

matplotlib.use("Agg")


def test_picture_shows_points_line_band_and_where_the_model_is_unstable():
    strain = np.linspace(0.1, 3.0, 20)
    stretch = 1 + strain
    stress = 2 * (stretch - stretch**-2) * (0.3 - 0.012 * (stretch**2 + 2 / stretch - 3))  # falls beyond some strain
    fit = xf.fit("yeoh:2", uniaxial=(strain, stress), stress_unit="kPa", band=True)
    limit = fit.stability["uniaxial_tension"]
    assert 0.5 < limit < 3
    (ax,) = fit.plot().axes
    points, stable, unstable = ax.lines[:3]
    assert np.array_equal(points.get_xydata(), np.column_stack([strain, stress]))
    for line, keeps in ((stable, lambda x: x <= limit), (unstable, lambda x: x >= limit)):
        x, y = line.get_data()
        drawn = np.isfinite(y)
        assert drawn.any() and keeps(x[drawn]).all() and limit in x[drawn]
        assert np.allclose(y[drawn], fit.curve("uniaxial")(x[drawn]))
    assert unstable.get_linestyle() == "--"
    assert (ax.get_xlabel(), ax.get_ylabel()) == ("nominal strain", "nominal stress (kPa)")
    assert "95 % confidence band" in [text.get_text() for text in ax.get_legend().get_texts()]


def test_notebooks_show_table_notes_and_one_picture():
    strain = np.array([1e-5, 1e-4, 1e-3, 1e-2])
    fit = xf.fit("hyperbolic", stiffness=(strain, 1 / (1 + strain / 4e-4)), damping=(strain, 0.25 * strain / (strain + 4e-4)))
    page = fit._repr_html_()
    assert page.count("<svg") == 1 and "gamma_r" in page and "damping ratio" in page
    assert all(note.split("<")[0] in page for note in fit.notes)
    assert len(fit.plot().axes) == 2
