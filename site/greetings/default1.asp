<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="windows-1252">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Thank you</title>
<link rel="stylesheet" type="text/css" href="../css/layout.css">
</head>
<body>
<main class="thanks">
<h1>Thank you!</h1>
<p>Your answers have been saved.</p>
<p>Thank you for the time you took to fill in the surva. We read every answer and every
suggestion, and we use them to make our trainings better.</p>
<hr class="rule">
<p>You may close this window now. We look forward to seeing you again.</p>
</main>
</body>
</html>
