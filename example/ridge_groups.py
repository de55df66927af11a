# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression with penalties of different strength for different kinds of columns.

Polynomial columns of the diabetes data fall into three kinds: the columns themselves, their
squares and their products. Each kind gets a strength of its own, found by the fit.
"""

from sklearn.datasets import load_diabetes
from sklearn.model_selection import cross_val_score
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import PolynomialFeatures, StandardScaler

from trevalon import RidgeRegression


def kind_of(name: str) -> str:
    if " " in name:
        return "product"
    return "square" if "^" in name else "linear"


def main() -> None:
    X, y = load_diabetes(return_X_y=True, as_frame=True)
    expand = PolynomialFeatures(degree=2, include_bias=False).set_output(transform="pandas")
    kinds = {name: kind_of(name) for name in expand.fit(X).get_feature_names_out()}

    print("mean R^2 of five folds")
    for groups in ("all", kinds):
        scale = StandardScaler().set_output(transform="pandas")
        model = make_pipeline(expand, scale, RidgeRegression("loo", groups=groups))
        score = cross_val_score(model, X, y, cv=5).mean()
        print(f"  {'one strength' if groups == 'all' else 'one per kind'}: {score:.4f}")

    ridge = model.fit(X, y)[-1]
    print("strengths, for columns of variance 1")
    for number, label in enumerate(ridge.group_labels_):
        strength = ridge.alpha_[ridge.groups_ == number][0]
        print(f"  {label:8s} {strength:10.3g}")
    print(f"{ridge.effective_dof_:.1f} of {len(ridge.coef_) + 1} parameters in effect")


if __name__ == "__main__":
    main()
