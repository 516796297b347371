print{1}
