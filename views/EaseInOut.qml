import QtQuick

// How a change of state moves.
NumberAnimation {
    duration: 200
    easing.type: Easing.BezierSpline
    easing.bezierCurve: [0.42, 0, 0.58, 1, 1, 1]
}
